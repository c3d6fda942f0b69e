// SPDX-License-Identifier: Apache-2.0
/// What a run keeps for itself in the folder of the results while it lives, and what a run that died left of it.
///
/// .norvane-run-HEX is a folder that only its user may enter and that no one else can guess. It holds the temporary
/// files, a lock that is held as long as the run lives, the file "alive", which an interruption removes, and the names
/// of the images under way.
#pragma once

#include "run/result_folder.h"

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {

/// A file name that nobody can guess; empty if the system gives no random bytes.
[[nodiscard]] std::string random_name(std::string_view prefix);

class RunFolder {
public:
    static constexpr const char* kAlive = "alive";

    /// Makes it in the folder of the results. Processes that share a run give it the same key. Throws Refusal.
    explicit RunFolder(const ResultFolder& results, std::string run_key = "");
    /// Removes it and what is in it, unless this process is a copy of the one that made it.
    ~RunFolder();
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    [[nodiscard]] int descriptor() const { return folder.get(); }
    /// Whether it was made by this process and not by the one that this one is a copy of.
    [[nodiscard]] bool is_of_this_process() const;

    struct Temporary {
        std::string name;
        Descriptor file;  ///< not open if there was an error, which errno then tells
    };
    /// A new file for writing. Any number of threads may call.
    [[nodiscard]] Temporary make_temporary() const;
    void remove_temporary(const std::string& file) const;
    /// Gives a temporary file its place; a file that lies there is replaced only if `replaces`. Returns 0 or the
    /// system's error: EEXIST if there is a file that may not be replaced.
    [[nodiscard]] int move_to(const ResultFolder& place, const std::string& file, const std::string& temporary,
                              bool replaces) const;

    /// While it lives, `text`, a line, is among what a run that dies was doing.
    class UnderWay {
    public:
        UnderWay(const RunFolder& run_folder, const std::string& text);
        ~UnderWay();
        UnderWay(const UnderWay&) = delete;
        UnderWay& operator=(const UnderWay&) = delete;

    private:
        const RunFolder& run;
        unsigned slot;
    };

    void remove_all() const;

private:
    [[nodiscard]] bool try_to_make();

    int above;  // the folder of the results
    std::string key;
    std::string name;
    pid_t maker;
    Descriptor folder, lock, under_way;
    mutable std::atomic<unsigned long> next_temporary{0};
    mutable std::mutex slots_mutex;
    mutable std::vector<unsigned> free_slots;
    mutable unsigned next_slot = 0;
};

/// The processes that share this run are about to be ended on purpose: what they have under way will not count as what
/// a run died at.
void pardon_runs(const ResultFolder& results, const std::string& key);

/// Calls `take` with the lines that were under way when a run died, for each such run that did not end by an
/// interruption, and removes what the dead runs left. Runs that live stay as they are, and so do those of other users
/// and those in places where files cannot be locked.
void clear_dead_runs(const ResultFolder& results, const std::function<void(const std::vector<std::string>&)>& take);

}  // namespace Norvane::Host
