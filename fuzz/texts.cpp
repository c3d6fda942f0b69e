// SPDX-License-Identifier: Apache-2.0
/// Fuzzes texts that the program parses: records of earlier runs as JSON, and command lines (words end with a line
/// feed).
#include "input.h"

#include "command_line.h"
#include "io/printable.h"
#include "run/exit_code.h"
#include "run/image_record.h"

#include <sstream>
#include <vector>

namespace Norvane::Fuzz {
namespace {

void read_record(const std::string& text) {
    const auto record = Host::record_of(text);
    if (!record) return;
    const std::string line = Host::json_line(*record);
    require(line.find('\n') == std::string::npos, "a record is a line");
    const auto again = Host::record_of(line);
    require(again.has_value(), "a record that was read can be written and read");
    require(Host::json_line(*again) == line, "nothing is lost on the way");
    require(!Host::csv_row(*record).empty(), "a record is a row");
    const std::string shown = Host::printable(line);
    const auto as_shown = Host::record_of(shown);
    require(Host::printable(shown) == shown && as_shown && Host::json_line(*as_shown) == line,
            "shown, it says the same");
}

void read_command_line(const std::string& text) {
    std::vector<std::string> words{"norvane"};
    std::istringstream lines(text);
    for (std::string word; std::getline(lines, word) && words.size() < 40;) words.push_back(word);
    std::vector<const char*> argv;
    argv.reserve(words.size());
    for (const std::string& word : words) argv.push_back(word.c_str());
    std::ostringstream out, err;
    const auto command = Host::parse_command_line(static_cast<int>(argv.size()), argv.data(), out, err);
    const int* code = std::get_if<int>(&command);
    if (code == nullptr) return;
    require(*code == Host::kExitDone || *code == Host::kExitUsage, "help, or a wrong command line");
    require(*code == Host::kExitDone ? !out.str().empty() : !err.str().empty(), "the user is told");
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    const bool is_record = input.byte() == '{';
    const std::string text(input.rest().begin(), input.rest().end());
    if (is_record)
        Fuzz::read_record("{" + text);
    else
        Fuzz::read_command_line(text);
    return 0;
}
