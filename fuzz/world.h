/// The environment of the fuzzed module: no threads, no waits, no shell, and answers from the input in place of the
/// board's other processes. Everything happens on one thread, so that each run of an input is the same.
#pragma once

#include <cstdint>
#include <functional>

#include "target.h"

class TunerManager;

namespace fuzz {

/// The environment of one run: reset at its start, and emptied at its end.
class World {
 public:
    /// \param level  of the log, 0 to 2; level 2 has a log channel
    explicit World(unsigned level);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;
};

/// How the module's sleeps are spent: what other processes and threads of a board would do meanwhile.
struct Meanwhile {
    bool daemonLies = false;
    /// The bytes of the daemon's answer in place of a good one.
    std::function<Block()> daemonAnswer;
    /// Answer of the browser's controller to a status query, none when it is empty.
    Block browserAnswer;
    /// The tuner whose scan is run on request, or null.
    TunerManager* scans = nullptr;
    /// Scans one channel in place of the whole band, which takes a second.
    bool shortScans = true;
    /// What a host does in those sleeps in which the module waits for its data.
    std::function<void()> host;
};
Meanwhile& TheMeanwhile();

/// Waits for a request to the settings agent, and answers it correctly.
void AnswerOneRequest();

/// Puts answers of the settings agent into its queue, in place of those that are left there.
/// \param answers  their bytes in turn, over and over, with kNextAnswer between two; empty for a well-formed one
void FillAgent(Bytes answers);
constexpr std::uint8_t kNextAnswer = 0x1F;

/// Puts one message into a queue that the module reads; one that has no room is dropped.
void Post(int key, long type, Bytes text);

/// Writes a file of the board. \param path  as the board knows it, in /mnt/hd1
void WriteFile(const char* path, Bytes bytes);

/// A datagram to a port of this machine, from the master's port.
void SendFromMaster(std::uint16_t port, Bytes datagram);

/// Prints a line on the standard error that the process had at first.
void TellAlways(const char* line);

}  // namespace fuzz
