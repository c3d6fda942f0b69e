// SPDX-License-Identifier: Apache-2.0
#include "batch_run.h"

#include "arguments.h"
#include "io/dicom/read_dicom.h"
#include "io/refusal.h"
#include "run/begun_mark.h"
#include "run/closing_lines.h"
#include "run/console.h"
#include "run/image_job.h"
#include "run/image_record.h"
#include "run/inputs.h"
#include "run/marks.h"
#include "run/masks_run.h"
#include "run/output_check.h"
#include "run/run_files.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Python {
namespace {

using Host::FoundInputs;
using Host::ImageRecord;
using Host::Input;
using Host::RunOptions;

py::tuple tuple_of(const Input& input) {
    return py::make_tuple(text_of_file(input.file), text_of_file(input.base.string()), text_of_file(input.refusal),
                          text_of_file(input.name), input.is_named, input.own);
}
Input input_of(const py::tuple& fields) {
    if (fields.size() != 6) refuse_type("an input has six fields");
    Input input{name_of_file(fields[0]), name_of_file(fields[1]), name_of_file(fields[2]),
                name_of_file(fields[3]), fields[4].cast<bool>(),  fields[5].cast<Host::GivenOptions>()};
    if (!input.refusal.empty()) return input;  // it will not be opened, perhaps because of its name
    for (const std::string& name : {input.file, input.base.string(), input.name}) refuse_nul(name);
    return input;
}

py::dict dict_of(const ImageRecord& record) {
    py::dict fields = py::module_::import("json").attr("loads")(Host::json_line(record));
    fields["file"] = text_of_file(record.file);
    fields["name"] = text_of_file(record.name);
    return fields;
}
ImageRecord record_from(const py::dict& fields) {
    py::dict others = fields.attr("copy")();
    for (const char* name : {"file", "name"}) others[name] = "";  // in JSON they would have to be UTF-8
    const auto line = py::module_::import("json").attr("dumps")(others).cast<std::string>();
    auto record = Host::record_of(line);
    if (!record) refuse_value("records: expected what make() returned, got " + repr_of(fields));
    record->file = name_of_file(fields["file"]);
    record->name = name_of_file(fields["name"]);
    return *record;
}

RunOptions options_of(const std::vector<std::string>& inputs, const Host::GivenOptions& given) {
    for (const std::string& input : inputs) refuse_nul(input);
    for (const auto& [name, texts] : given) {
        for (const std::string& text : texts) refuse_nul(text);
    }
    try {
        return Host::run_options_of(inputs, given);
    } catch (const Host::WrongOption& wrong) {
        refuse_value((wrong.option.empty() ? "" : wrong.option + ": ") + wrong.what());
    }
}

// The options that apply here, as tuples (name, letter, is a flag, is a flag with --no-NAME, value, help).
py::list run_options() {
    py::list rows;
    for (const Host::OptionFacts& option : Host::facts_of(Host::run_option_table())) {
        if (option.is_of_command) continue;
        rows.append(py::make_tuple(option.name, option.letter == '\0' ? "" : std::string(1, option.letter),
                                   Host::is_flag(option), option.kind == Host::OptionKind::kTwoWayFlag,
                                   Host::value_text(option), Host::help_text(option)));
    }
    return rows;
}

py::list list_of(const std::vector<std::string>& sentences) {
    py::list list;
    for (const std::string& sentence : sentences) list.append(text_of_file(sentence));
    return list;
}

class Run {
public:
    Run(const std::vector<std::string>& inputs, const Host::GivenOptions& given_options,
        const std::optional<std::vector<py::tuple>>& given, std::string run_key)
        : options(options_of(inputs, given_options)), jobs(options), key(std::move(run_key)) {
        if (given) {
            for (const py::tuple& fields : *given) found.inputs.push_back(input_of(fields));
        }
        Host::OutputCheck check;
        {
            const py::gil_scoped_release others_go_on;
            Host::load_dicom_dictionary();
            if (!given) {
                found = Host::find_and_name(options);
                check = Host::check_outputs(options, found.inputs);
            }
        }
        std::string complaints;
        for (const std::string& complaint : check.complaints) complaints += complaint + "\n";
        if (!complaints.empty()) refuse_value(complaints + "nothing was done; choose another out_dir");
    }
    Run(const Run&) = delete;  // the jobs refer to its members
    Run& operator=(const Run&) = delete;

    [[nodiscard]] std::vector<py::tuple> inputs() const {
        std::vector<py::tuple> tuples;
        for (const Input& input : found.inputs) tuples.push_back(tuple_of(input));
        return tuples;
    }

    void take_over_dead_runs() {
        const py::gil_scoped_release others_go_on;
        const std::shared_ptr<Host::Workplace> here = place();
        (void)Host::take_over_dead_runs(here->results, here->run);
    }

    void pardon() {
        const py::gil_scoped_release others_go_on;
        Host::pardon_runs(place()->results, key);
    }

    [[nodiscard]] bool is_in_shard(const py::tuple& fields) const {
        return !options.shard || Host::is_in_shard(input_of(fields), *options.shard);
    }
    [[nodiscard]] std::size_t passed_over() const { return found.passed_over; }
    [[nodiscard]] std::string out_dir() const { return options.out_dir; }

    [[nodiscard]] py::object make(const py::tuple& fields) {
        const Input input = input_of(fields);
        const Host::JobOutcome outcome = [&] {
            const py::gil_scoped_release others_go_on;
            return jobs.run(input, *place());
        }();
        if (!outcome.is_image) return py::none();
        return dict_of(outcome.record);
    }

    // Writes the files of the run. Returns sentences about those that could not be written, and the closing lines.
    [[nodiscard]] py::tuple finish(const std::vector<py::dict>& rows, std::size_t not_finished,
                                   std::size_t passed_over) {
        std::vector<ImageRecord> records;
        records.reserve(rows.size());
        for (const py::dict& row : rows) records.push_back(record_from(row));
        Host::RunCounts counts = Host::counts_of(records);
        counts.not_finished = not_finished;
        counts.passed_over = passed_over;
        Host::WrittenRunFiles written;
        std::vector<std::string> lines;
        {
            const py::gil_scoped_release others_go_on;
            const std::shared_ptr<Host::Workplace> here = place();
            written = Host::write_run_files(options, found.inputs, records, here->results, here->run);
            lines = Host::closing_lines(options, records, counts);
        }
        if (!written.note.empty()) lines.push_back(written.note);
        return py::make_tuple(list_of(written.failures), list_of(lines));
    }

    void close() {
        const std::scoped_lock lock(mutex);
        workplace.reset();
    }

private:
    // The place of this process, made when it is needed.
    [[nodiscard]] std::shared_ptr<Host::Workplace> place() {
        const std::scoped_lock lock(mutex);
        if (!workplace || !workplace->run.is_of_this_process()) {
            std::filesystem::create_directories(options.out_dir);
            workplace = std::make_shared<Host::Workplace>(options.out_dir, key);
        }
        return workplace;
    }

    RunOptions options;
    FoundInputs found;
    Host::ImageJobs jobs;
    std::string key;
    std::mutex mutex;
    std::shared_ptr<Host::Workplace> workplace;
};

}  // namespace

void bind_batch_run(py::module_& module) {
    module.attr("run_options") = run_options();
    module.def("read_marks", [](const std::string& table) {
        py::list marks;
        for (const Host::Mark& mark : Host::read_marks(table)) {
            marks.append(py::make_tuple(text_of_file(mark.file), text_of_file(mark.mark), text_of_file(mark.note)));
        }
        return marks;
    });
    module.def("progress_text", &Host::progress_text);
    module.def("closing_line", [](std::size_t done, std::size_t kept, std::size_t refused, std::size_t not_finished,
                                  std::size_t passed_over) {
        return Host::closing_line({done, kept, refused, not_finished, 0, passed_over});
    });
    py::class_<Run>(module, "Run")
        .def(py::init<const std::vector<std::string>&, const Host::GivenOptions&,
                      const std::optional<std::vector<py::tuple>>&, std::string>())
        .def_property_readonly("inputs", &Run::inputs)
        .def_property_readonly("passed_over", &Run::passed_over)
        .def_property_readonly("out_dir", [](const Run& r) { return text_of_file(r.out_dir()); })
        .def("is_in_shard", &Run::is_in_shard)
        .def("take_over_dead_runs", &Run::take_over_dead_runs)
        .def("pardon", &Run::pardon)
        .def("make", &Run::make)
        .def("finish", &Run::finish)
        .def("close", &Run::close);
}

}  // namespace Norvane::Python
