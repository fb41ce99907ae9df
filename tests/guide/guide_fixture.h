/// A TunerManager with a master that receives its messages, and shorthands for the guide's tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bridges/forwarding.h"
#include "core/broadcasttime.h"
#include "core/log.h"
#include "fast_machine.h"
#include "guide/tunermanager.h"
#include "support/programmes.h"

/// A TunerManager with a forwarding peer, silent in the log.
class GuideTest : public testing::Test {
 protected:
    GuideTest() { Begin('T'); }

    /// Replaces the TunerManager by a new one.
    void Begin(char role) {
        global_debug_flag = 0;
        fast_machine::RecordShell(true);
        store = std::make_unique<TunerManager>(role);
        store->SetTunerForwarding(server.After(master));
    }

    void Tune(int channel) { EXPECT_TRUE(store->TuneToChannel(channel)); }

    /// Adds a programme with a VCT to the current channel.
    void AddProgramme(std::uint16_t transportId, std::uint16_t programId, std::uint16_t sourceId) {
        store->AddProgramToScanResults(transportId, programId);
        store->SetPsipInfoForProgram(transportId, programId, "\0N\0E\0W\0S\0\0\0\0\0\0", 7, 1, 4, 0, transportId,
                                     sourceId);
    }

    bool SetEvent(std::uint16_t sourceId, std::uint16_t eventId, std::uint32_t start, std::uint32_t seconds,
                  std::string title, std::uint8_t mode = 0) {
        return store->SetEventInfoForProgram(sourceId, eventId, start, seconds, static_cast<std::uint8_t>(title.size()),
                                             title.data(), mode);
    }

    /// \param eventId  0 for the channel's own text
    bool SetText(std::uint16_t sourceId, std::uint16_t eventId, const std::string& text, std::uint8_t mode = 0) {
        return store->SetExtendedText(sourceId, static_cast<std::uint16_t>(eventId << 2 | 2), text.data(),
                                      static_cast<std::uint32_t>(text.size()), mode);
    }

    /// \return the whole SCAL report
    std::string Scal() {
        store->RewindScan();
        std::string report;
        char line[256];
        for (int size; (size = store->GetNextProgramScalFormatted(line, sizeof line)) > 0;) {
            report.append(line, static_cast<std::size_t>(size));
        }
        return report;
    }

    /// \return the reply to a guide query; a refusal in brackets
    std::string Epg(char type, std::uint16_t programId, std::uint32_t date = 0, std::uint32_t time = 0,
                    std::uint32_t minutes = 0) {
        buffer.assign(TunerManager::kReplySize, 'x');
        const char* const refused = store->ProcessEpgData(buffer.data(), 0, programId, date, time, minutes, type);
        return refused != nullptr ? std::string("[") + refused + "]" : master.Hear();
    }

    std::string Listing(Language::LanguageModeEnum mode) {
        buffer.assign(TunerManager::kReplySize, 'x');
        EXPECT_EQ(store->GetLanguagesOrSubtitles(mode, buffer.data()), nullptr);
        return master.Hear();
    }

    std::unique_ptr<TunerManager> store;
    CommandServer server;
    Client master;
    std::vector<char> buffer;
};
