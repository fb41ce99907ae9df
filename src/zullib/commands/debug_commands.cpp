// STREAMFROMFILE and FILTER: other inputs and outputs of the filter, for debugging.
#include <cstdio>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "filter/tsfilter.h"

namespace {

constexpr unsigned kFilterRead = 4096;  ///< bytes of one datagram of the debug input

/// \return the opened file, or null after reporting the failure
FILE* OpenOrReport(const char* name, const char* mode) {
    FILE* const file = std::fopen(name, mode);
    if (file == nullptr) PANIC("Can't open %s\n", name);
    return file;
}

}  // namespace

/// STREAMFROMFILE: feeds the filter from a file and writes the streams to another; a file that isn't given is closed.
/// \param request  ",input,output"; an input that begins with 'x' means none
char* CommandManager::ProcessStreamFromFile(Request request) {
    StreamFromFile(request.text);
    return mKo;
}

void CommandManager::StreamFromFile(char* names) {
    mpTsf->SetDebugInput(nullptr);
    mpTsf->SetDebugOutput(nullptr);
    CommaFields fields(names);
    const char* const input = fields.Next();
    if (input == nullptr) return;
    if (input[0] != 'x') {
        LOG("Opeining file %s|\n", input);
        FILE* const file = OpenOrReport(input, "re");
        if (file == nullptr) return;
        mpTsf->SetDebugInput(file);
    }
    const char* const output = fields.Next();
    if (output == nullptr) return;
    LOG("Opening file %s|\n", output);
    if (FILE* const file = OpenOrReport(output, "we")) mpTsf->SetDebugOutput(file);
}

/// FILTER: feeds the filter with what arrives on a UDP port, until an empty datagram arrives. No other command is
/// served meanwhile.
/// \param request  "FILTER,port"; its buffer also takes the data
char* CommandManager::ProcessFilterDebug(Request request) {
    static UdpServer filter_udp_rcv;
    CommaFields fields(request.text);
    const char* const address = fields.Next();
    const char* const portText = fields.Next();
    if (portText == nullptr) return mKo;
    const int port = Decimal(portText);
    LOG("Starting Filter for port %d ip %s\n", port, address);
    // The first field is the keyword: never a multicast group.
    filter_udp_rcv.Connect(static_cast<std::uint16_t>(port), address);
    mpTsf->FilterActive(true);
    for (;;) {
        const int received = filter_udp_rcv.Receive(request.text, kFilterRead, 0);
        if (received <= 0) return mKo;
        mpTsf->Filter(reinterpret_cast<unsigned char*>(request.text), received);
    }
}
