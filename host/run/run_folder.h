// SPDX-License-Identifier: Apache-2.0
/// The folder that a run keeps for itself inside the folder of the results while it lives, and what is done with that
/// of a run that died.
///
/// The folder is called .norvane-run-HEX. Only its user may enter it, and nobody can guess its name. It holds the
/// temporary files, a lock that is held while the run lives, the file "alive", which an interruption removes, and the
/// names of the images that are being processed.
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

/// A file name that nobody can guess. Empty if the system provides no random bytes.
[[nodiscard]] std::string random_name(std::string_view prefix);

class RunFolder {
public:
    static constexpr const char* kAlive = "alive";

    /// Creates the folder in the folder of the results. Processes that share a run pass the same key. Throws Refusal.
    explicit RunFolder(const ResultFolder& results, std::string run_key = "");
    /// Removes the folder and its contents, unless this process is a fork of the one that created it.
    ~RunFolder();
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    [[nodiscard]] int descriptor() const { return folder.get(); }
    /// Whether this process created it, and not the process from which this one was forked.
    [[nodiscard]] bool is_of_this_process() const;

    struct Temporary {
        std::string name;
        Descriptor file;  ///< not open if there was an error; errno then says which
    };
    /// Creates a new file for writing. Any number of threads may call it.
    [[nodiscard]] Temporary make_temporary() const;
    void remove_temporary(const std::string& file) const;
    /// Moves a temporary file to its place. A file that is already there is replaced only if `replaces` is true.
    /// Returns 0 or the system's error, which is EEXIST if there is a file that may not be replaced.
    [[nodiscard]] int move_to(const ResultFolder& place, const std::string& file, const std::string& temporary,
                              bool replaces) const;

    /// While this object exists, the line `text` is recorded as something that the run is doing.
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

/// To be called before the processes that share this run are ended on purpose: the images that they are processing will
/// not count as images during which a run died.
void pardon_runs(const ResultFolder& results, const std::string& key);

/// For each dead run that did not end by an interruption, calls `take` with the lines that it was processing. Then
/// removes the files that dead runs left. Living runs are not touched, nor are those of other users and those on file
/// systems without locks.
void clear_dead_runs(const ResultFolder& results, const std::function<void(const std::vector<std::string>&)>& take);

}  // namespace Norvane::Host
