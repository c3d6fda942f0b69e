// SPDX-License-Identifier: Apache-2.0
/// What the program needs for each image of a batch of DICOM files, 3328 x 4096 pixels of 12 bits. The yardstick is the
/// library alone: preparation and full mask of the same pixels. Both are processor time, that of the decoders included.
#include "encoders.h"
#include "io/decoding/decode_frame.h"
#include "model/pixels.h"
#include "pictures.h"
#include "yardstick.h"

#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcrlerp.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <ctime>
#include <optional>

namespace Norvane::Bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRuns = 5;
constexpr std::array kViews{VIEW_PECT, VIEW_NO_PECT};

Acquisition kind_of(IMAGE_VIEW view) {
    Acquisition kind = kLargeDetector;
    kind.view = view;
    return kind;
}

Picture picture_of(IMAGE_VIEW view) {
    const std::unique_ptr<Image> image = acquired(kind_of(view));
    Picture picture{image->GetWidth(), image->GetHeight(), 12, false, {}};
    for (unsigned y = 0; y < image->GetHeight(); ++y) {
        const auto row = grey_row(*image, y);
        picture.words.insert(picture.words.end(), row.begin(), row.end());
    }
    return picture;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

template <class Work>
double processor_seconds_of(Work work) {
    const std::clock_t begin = std::clock();
    work();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

/// Seconds for the images of both views in the library.
double library_seconds() {
    double seconds = 0.0;
    for (const IMAGE_VIEW view : kViews) {
        const std::unique_ptr<Image> source = acquired(kind_of(view));
        seconds += processor_seconds_of([&] {
            float scale = 0.0F;
            const std::unique_ptr<Image> image(
                PrepareImage(source.get(), scale, BG_AUTO_COARSE, false, nullptr, nullptr, nullptr));
            Mask frame, full, pect, second;
            NvGenerateFullMask(image.get(), params_for(kind_of(view), BG_AUTO_COARSE), &frame, &full, &pect, &second);
        });
    }
    return seconds;
}

/// How a batch is encoded. What has no codec is decoded by the reader itself.
struct Syntax {
    E_TransferSyntax data_set = EXS_LittleEndianExplicit;
    Bytes (*encode)(const Picture&) = nullptr;
    std::optional<Host::Codec> codec = std::nullopt;
};

/// A folder with files of both views in turn. It is removed with everything in it.
class Batch {
public:
    Batch(const Syntax& syntax, unsigned count)
        : folder(fs::temp_directory_path() / ("norvane-batch-" + std::to_string(::getpid()))), image_count(count) {
        fs::create_directories(input());
        for (std::size_t i = 0; i < kViews.size(); ++i) write(syntax, kViews[i], name_of(i));
        for (std::size_t i = kViews.size(); i < count; ++i) fs::copy_file(name_of(i % kViews.size()), name_of(i));
    }
    ~Batch() { fs::remove_all(folder); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    struct Cost {
        double processor_seconds, clock_seconds;
    };

    /// Runs the program. Throws std::runtime_error if it does not make all results.
    [[nodiscard]] Cost run(const std::vector<std::string>& options) const {
        const std::string out_dir = (folder / "out").string(), in = input().string();
        std::vector<const char*> words{NORVANE_PROGRAM, "masks", "-q", "--out-dir", out_dir.c_str(), in.c_str()};
        for (const std::string& option : options) words.push_back(option.c_str());
        words.push_back(nullptr);
        fs::remove_all(out_dir);
        rusage used{};
        int status = 0;
        const double seconds = seconds_of([&] {
            pid_t process = 0;
            if (posix_spawn(&process, NORVANE_PROGRAM, nullptr, nullptr, const_cast<char**>(words.data()), environ) !=
                0)
                throw std::runtime_error("the program does not start");
            (void)wait4(process, &status, 0, &used);
        });
        if (status != 0) throw std::runtime_error("the program fails");
        const auto in_seconds = [](timeval time) {
            return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
        };
        return {in_seconds(used.ru_utime) + in_seconds(used.ru_stime), seconds};
    }

    [[nodiscard]] unsigned images() const { return image_count; }
    /// Seconds that the decoder alone needs for the images of both views, in this process.
    [[nodiscard]] double decoder_seconds() const {
        return processor_seconds_of([&] {
            for (const Frame& frame : frames) {
                Host::decode_frame({frame.codec, frame.bytes, kLargeDetector.width, kLargeDetector.height,
                                    kLargeDetector.used_bits, Host::DecodingPlace::kThisProcess},
                                   [](std::span<const std::uint16_t>) {});
            }
        });
    }

private:
    struct Frame {
        Host::Codec codec;
        Bytes bytes;
    };

    [[nodiscard]] fs::path input() const { return folder / "in"; }
    [[nodiscard]] std::string name_of(std::size_t i) const { return input() / (std::to_string(i) + ".dcm"); }
    void write(const Syntax& syntax, IMAGE_VIEW view, const std::string& file) {
        const Picture picture = picture_of(view);
        DcmFileFormat object;
        DcmDataset& header = *object.getDataset();
        Tests::make_object(header);
        Tests::put_picture(header, picture);
        Tests::change(
            header,
            std::string(
                "Modality=MG; StudyInstanceUID=1.2.3.5; SeriesInstanceUID=1.2.3.6; ImageLaterality=L; ViewPosition=") +
                (view == VIEW_PECT ? "MLO" : "CC"));
        if (syntax.encode != nullptr) {
            const Bytes bytes = syntax.encode(picture);
            Tests::put_frames(header, syntax.data_set, {bytes});
            if (syntax.codec) frames.push_back({*syntax.codec, bytes});
        }
        if (object.saveFile(file.c_str(), syntax.data_set).bad()) throw std::runtime_error("a file cannot be written");
    }

    fs::path folder;
    unsigned image_count;
    std::vector<Frame> frames;
};

/// Reports one image of the batch in units of one image of the library.
void measure(benchmark::State& state, const Syntax& syntax, unsigned count, Target target,
             const std::vector<std::string>& options) {
    const Batch batch(syntax, count);
    std::vector<double> ours, library, decoder;
    for (auto _ : state) {
        for (int i = 0; i < kRuns; ++i) {
            library.push_back(library_seconds() / kViews.size());
            decoder.push_back(batch.decoder_seconds() / kViews.size());
            ours.push_back(batch.run(options).processor_seconds / batch.images());
        }
        state.SetIterationTime(median(ours));
        const double decoder_ratio = median(decoder) / median(library);
        report(state, "x_library", median(ours), median(library),
               {target.at_most + decoder_ratio, target.aim + decoder_ratio});
        state.counters["decoder"] = decoder_ratio;
    }
}

void batch(benchmark::State& state, Target target, const std::vector<std::string>& options) {
    std::vector<std::string> all{"--jobs=1"};
    all.insert(all.end(), options.begin(), options.end());
    measure(state, {}, 20, target, all);
}

void encoded_batch(benchmark::State& state, const Syntax& syntax) {
    measure(state, syntax, 10, {5.0, 3.5}, {"--jobs=1"});
}

void two_jobs(benchmark::State& state) {
    const Batch batch({}, 20);
    std::vector<double> one, two;
    for (auto _ : state) {
        for (int i = 0; i < kRuns; ++i) {
            one.push_back(batch.run({"--jobs=1"}).clock_seconds);
            two.push_back(batch.run({"--jobs=2"}).clock_seconds);
        }
        state.SetIterationTime(median(two));
        state.counters["x_one_job"] = median(one) / median(two);
        state.counters["at_least"] = 1.9;
    }
}

Bytes run_lengths(const Picture& picture) {
    DcmRLEEncoderRegistration::registerCodecs();
    return encode_by_toolkit(picture, EXS_RLELossless, DcmRLERepresentationParameter());
}
Bytes jpeg_extended(const Picture& picture) { return encode_by_toolkit(picture, EXS_JPEGProcess2_4, DJ_RPLossy(95)); }
Bytes jpeg_ls(const Picture& picture) {
    return encode_by_toolkit(picture, EXS_JPEGLSLossless, DJLSRepresentationParameter(0, OFTrue));
}
Bytes jpeg_lossless(const Picture& picture) {
    return encode_by_toolkit(picture, EXS_JPEGProcess14SV1, DJ_RPLossless());
}

#define NORVANE_ONCE Iterations(1)->UseManualTime()
BENCHMARK_CAPTURE(batch, json, Target{2.5, 1.8}, {"--results=json", "--no-page"})->NORVANE_ONCE;
BENCHMARK_CAPTURE(batch, json_labels_seg, Target{3.5, 2.5}, {"--results=json,labels,seg"})->NORVANE_ONCE;
BENCHMARK_CAPTURE(batch, default_results, Target{5.0, 3.5}, {})->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, big_endian, Syntax{EXS_BigEndianExplicit})->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, deflated, Syntax{EXS_DeflatedLittleEndianExplicit})->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, run_lengths, Syntax{EXS_RLELossless, run_lengths})->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, jpeg_extended, Syntax{EXS_JPEGProcess2_4, jpeg_extended, Host::Codec::kJpeg})
    ->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, jpeg_lossless, Syntax{EXS_JPEGProcess14SV1, jpeg_lossless, Host::Codec::kJpeg})
    ->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, jpeg_ls, Syntax{EXS_JPEGLSLossless, jpeg_ls, Host::Codec::kJpegLs})->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, jpeg_2000, Syntax{EXS_JPEG2000LosslessOnly, encode_jpeg2000, Host::Codec::kJpeg2000})
    ->NORVANE_ONCE;
BENCHMARK_CAPTURE(encoded_batch, htj2k, Syntax{EXS_JPEG2000LosslessOnly, encode_htj2k, Host::Codec::kJpeg2000})
    ->NORVANE_ONCE;
BENCHMARK(two_jobs)->NORVANE_ONCE;

}  // namespace
}  // namespace Norvane::Bench
