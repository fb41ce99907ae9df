// EIT: queries of the programme guide.
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/texthelpers.h"
#include "guide/tunermanager.h"

/// EIT: EITI at a moment, EITN now and next, EITL a listing from now.
/// \param request  "EIT", the letter, both ids in hexadecimal, then, by letter, date and time, nothing, or a span
char* CommandManager::ProcessEpgData(Request request) {
    char* const cmd = request.text;
    const char cmmd = cmd[3];
    mpTunerManager->SetTunerForwarding(mpServer.get());
    // Skip the E, which hatoi would read as a digit; it ignores the other letters.
    CommaFields fields(cmd + 1);
    const char* const transport = fields.Next();
    const char* const programme = fields.Next();
    const char* const tmp1 = fields.Next();
    const char* const tmp2 = fields.Next();
    const auto transportId = static_cast<std::uint16_t>(transport != nullptr ? hatoi(transport) : 0);
    const auto programId = static_cast<std::uint16_t>(programme != nullptr ? hatoi(programme) : 0);
    const int span = tmp1 != nullptr ? Decimal(tmp1) : 0;
    switch (cmmd) {
        case 'I':
        case 'i':
            return mpTunerManager->ProcessEpgData(cmd, transportId, programId, tmp1 != nullptr ? hatoi(tmp1) : 0,
                                                  static_cast<std::uint32_t>(tmp2 != nullptr ? Decimal(tmp2) : 0), 0,
                                                  'i');
        case 'L':
        case 'l':
            return mpTunerManager->ProcessEpgData(cmd, transportId, programId, 0, 0,
                                                  static_cast<std::uint32_t>(span / 100 * 60 + span % 100), 'l');
        case 'N':
        case 'n': return mpTunerManager->ProcessEpgData(cmd, transportId, programId, 0, 0, 0, 'n');
        default: PANIC("Unknown EIT command: %c", cmmd); return mKo;
    }
}
