// A whole board's command manager, with a broadcast that its store knows.
#include "manager.h"

#include <unistd.h>

#include <thread>

#include "board.h"
#include "commands/entry.h"
#include "core/log.h"
#include "psip_sections.h"

void UartTest::ClosePort(Uart& uart) {
    if (uart.mSerialFd > 0) close(uart.mSerialFd);
}

bool CommandManagerTest::Connect(CommandManager& board) { return board.mpServer->Connect(fuzz::Manager::kPort); }

namespace {

using namespace transport;
using fuzz::kGuidePid, fuzz::kPmtPid, fuzz::kProgramme, fuzz::kSource, fuzz::kTransport;

/// One programme with its tables, each section in packets, as zul-mux would send it.
const Blob& Broadcast() {
    static const Blob* const packets = [] {
        constexpr std::uint32_t kStart = 1388534400 - 600;
        const Blob guide = MgtTable(0x100, kGuidePid);
        const std::pair<unsigned, Blob> tables[] = {
            {kPatPid, Pat(kTransport, 1, {{kProgramme, kPmtPid}})},
            {kPmtPid, Pmt(kProgramme, {{0x02, 0x31, {}}, {0x81, 0x34, {0x0A, 4, 'e', 'n', 'g', 0}}})},
            {kPsipBasePid, Mgt({guide, MgtTable(0x200, kGuidePid + 1)})},
            {kPsipBasePid, Vct(0xC8, kTransport, {VctChannel(kProgramme, 11, 1, kSource)})},
            {kGuidePid,
             Eit(kSource, {EitEvent(1, kStart, 1800, Plain("News")), EitEvent(2, kStart + 1801, 3600, Plain("Film"))})},
            {kGuidePid + 1, Ett(kSource, 1 << 2 | 2, Plain("What happened today."))},
        };
        auto* const all = new Blob;
        for (const auto& [pid, section] : tables) {
            unsigned continuity = 0;
            Append(*all, SectionPackets(pid, continuity, section));
        }
        all->push_back(kSyncByte);
        return all;
    }();
    return *packets;
}

}  // namespace

namespace fuzz {

Manager::Manager(unsigned flags) : mRole((flags & 1) != 0 ? 'R' : 'T') {
    TheMeanwhile().daemonLies = (flags & 2) != 0;
    TheMeanwhile().shortScans = (flags & 8) == 0;
    std::thread agent(AnswerOneRequest);  // answers that are there before are dropped
    mBoard = std::make_unique<CommandManager>(mRole);
    agent.join();
    Promise(CommandManagerTest::Connect(*mBoard), "the command port is free");
    TheMeanwhile().scans = &CommandManagerTest::Tuner(*mBoard);
    if ((flags & 4) == 0) return;
    CommandManagerTest::Filter(*mBoard).FilterActive(true);
    process_pat = true;
    Receive();
    TheMeanwhile().host = [this] { Receive(); };
}

Manager::~Manager() {
    Serve({'U', 'P', 'G', 'R', '0'});  // the image's file is closed
    TheMeanwhile().scans = nullptr;
    TheMeanwhile().host = nullptr;
    if (Uart* const port = CommandManagerTest::SerialPort(*mBoard)) UartTest::ClosePort(*port);
    CommandManagerTest::Filter(*mBoard).SetDebugInput(nullptr);
    CommandManagerTest::Filter(*mBoard).SetDebugOutput(nullptr);
}

/// Input from the host: packets to a transmitter, sections to a receiver.
void Manager::Receive() {
    Block data = Broadcast();
    if (mRole == 'T') {
        constexpr int kTimes = 3;  // a PID must be seen this often to be part of the whole multiplex
        for (int i = 0; i < kTimes; ++i) Zul_Filter(data.data(), static_cast<unsigned>(data.size()));
        return;
    }
    for (const std::size_t at : {std::size_t{5}, transport::kPacket + 5}) {
        Block section(data.begin() + static_cast<std::ptrdiff_t>(at), data.end());
        Zul_Filter(section.data(), 0);
    }
}

void Manager::Serve(const Block& request) {
    FillAgent(agentAnswer);
    constexpr std::size_t kMost = 60000;
    SendFromMaster(kPort, Bytes(request).first(std::min(request.size(), kMost)));
    CommandManagerTest::Serve(*mBoard);
}

void Manager::Boot() {
    FillAgent(agentAnswer);
    CommandManagerTest::Boot(*mBoard);
}

}  // namespace fuzz
