// SPDX-License-Identifier: Apache-2.0
#include "results/output_set.h"

#include "reading/refusal.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

namespace Norvane::Host {

OutputSet::~OutputSet() {
    std::error_code ignored;
    for (const auto& [temporary, file] : waiting) std::filesystem::remove(temporary, ignored);
}

void OutputSet::add(const std::filesystem::path& file, std::string_view bytes) {
    std::filesystem::path temporary = file;
    std::string name = ".";  // hidden, and unlike that of any other process
    name += file.filename().string();
    name += '.';
    name += std::to_string(getpid()) + ".tmp";
    temporary.replace_filename(name);
    waiting.emplace_back(temporary, file);
    errno = 0;
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) throw Refusal("has results that cannot be written: " + file.string() + ": " + std::strerror(errno));
}

void OutputSet::commit() {
    while (!waiting.empty()) {
        const auto& [temporary, file] = waiting.front();
        std::error_code error;
        std::filesystem::rename(temporary, file, error);
        if (error) throw Refusal("has results that cannot be written: " + file.string() + ": " + error.message());
        waiting.erase(waiting.begin());
    }
}

}  // namespace Norvane::Host
