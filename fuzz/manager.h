/// A whole board's command manager, served request by request.
#pragma once

#include <memory>

#include "bridges/uart.h"
#include "commands/keywordtable.h"
#include "world.h"

class TsFilter;

/// Opens the serial bridge's inside: a board's port stays open for good, which many boards in one process can't afford.
class UartTest {
 public:
    static void ClosePort(Uart& uart);
};

/// Opens the command manager's inside, as to the tests of its room.
class CommandManagerTest {
 public:
    static auto Keywords() { return CommandManager::Commands(); }
    static bool Connect(CommandManager& board);
    static void Serve(CommandManager& board) { board.ServeRequest(); }
    static void Boot(CommandManager& board) { board.ProcessTunerModeAndDefaultStartupItem(nullptr); }
    static TunerManager& Tuner(CommandManager& board) { return *board.mpTunerManager; }
    static TsFilter& Filter(CommandManager& board) { return *board.mpTsf; }
    static Uart* SerialPort(CommandManager& board) { return board.mpUart.get(); }
};

namespace fuzz {

class Manager {
 public:
    static constexpr std::uint16_t kPort = 5000;

    /// \param flags  1 a receiver, 2 a daemon that lies, 4 a broadcast was received, 8 a scan is as long as requested
    explicit Manager(unsigned flags);
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// Sends a request, of which a datagram takes as much as it can, and has it served.
    void Serve(const Block& request);
    void Boot();

    Block agentAnswer;  ///< empty: a well-formed one

 private:
    void Receive();

    char mRole;
    std::unique_ptr<CommandManager> mBoard;
};

}  // namespace fuzz
