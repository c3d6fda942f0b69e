// SPDX-License-Identifier: Apache-2.0
/// Files and runs of the program for the tests of the host.
#pragma once

#include "command_line.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "run/output_set.h"
#include "support/test.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace Norvane::Tests {

/// A folder of its own for each test, removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 (std::string("norvane-") + test->test_suite_name() + "-" + test->name() + std::to_string(::getpid()));
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string path(const std::string& name) const { return (folder / name).string(); }
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    [[nodiscard]] std::vector<std::string> names(const std::string& below = "") const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder / below)) {
            found.push_back(entry.path().filename().string());
        }
        std::ranges::sort(found);
        return found;
    }

private:
    std::filesystem::path folder;
};

inline std::string read_bytes(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A set of files that get their places in a folder.
struct Outputs {
    explicit Outputs(const std::string& path) : folder(path), run(folder), set(run, folder) {}
    void commit() {
        set.commit([](const std::string&, std::uintmax_t) { return false; });
    }

    Host::ResultFolder folder;
    Host::RunFolder run;
    Host::OutputSet set;
};

/// What reading `file` is refused with; empty when it is read.
inline std::string refusal_of(const std::string& file) {
    try {
        (void)Host::read_image(file);
        return {};
    } catch (const Host::Refusal& refusal) {
        return refusal.what();
    }
}

using Arguments = std::vector<std::string>;
inline Arguments joined(Arguments all, const Arguments& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

struct ProgramRun {
    int code;
    std::string out, err;
};
inline ProgramRun run(const Arguments& arguments) {
    std::vector<const char*> argv{"norvane"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out, err;
    const int code = Host::run_program(static_cast<int>(argv.size()), argv.data(), out, err);
    return {code, out.str(), err.str()};
}
/// A phantom without a file header; its pixels are of 220 micrometres.
inline ProgramRun run_phantom(const std::string& file, const Arguments& options = {}) {
    return run(joined({"phantom", file, "--width", "750", "--height", "1000", "--pixel-size", "220"}, options));
}

}  // namespace Norvane::Tests
