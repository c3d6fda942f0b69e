// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/decoder_program.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// Relative to the folder of this code: that folder itself, and the paths from the installed program and from the
// installed Python module.
constexpr const char* kPlaces[] = {".", NORVANE_LIBEXEC_FROM_PROGRAM, NORVANE_LIBEXEC_FROM_PYTHON};

/// The file that this code was loaded from. Empty if that is not known.
fs::path own_file() {
    static const char own_byte = 0;
    Dl_info info{};
    void* extra = nullptr;
    std::error_code error;
    const bool is_found = dladdr1(&own_byte, &info, &extra, RTLD_DL_LINKMAP) != 0;
    // The caller of a program chooses the name in its arguments, so /proc is asked. A shared object has the name by
    // which it was opened.
    const char* name = is_found ? static_cast<const link_map*>(extra)->l_name : "";
    return fs::canonical(*name == '\0' ? "/proc/self/exe" : name, error);
}

// A file is trusted if it belongs to root, to this user, or to the owner of this code.
bool is_trusted(const fs::path& file, uid_t owner) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    return status.st_uid == 0 || status.st_uid == geteuid() || status.st_uid == owner;
}

}  // namespace

std::string decoder_program() {
    const fs::path own = own_file();
    struct stat status {};
    if (own.empty() || stat(own.c_str(), &status) != 0) return {};
    for (const char* place : kPlaces) {
        const fs::path candidate = own.parent_path() / place / "norvane-decoder";
        if (is_trusted(candidate, status.st_uid)) return candidate.lexically_normal().string();
    }
    return {};
}

}  // namespace Norvane::Host
