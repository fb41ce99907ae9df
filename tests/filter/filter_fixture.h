/// A filter over the real classes, whose streams go to a file that the test reads.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>

#include "core/log.h"
#include "fast_machine.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"
#include "support/programmes.h"
#include "transport.h"

/// Gives the tests of the room access to the filter's members.
class TsFilterTest : public ::testing::Test {
 protected:
    TsFilterTest() { global_debug_flag = 0; }

    void SetUp() override {
        fast_machine::RecordShell(true);
        fast_machine::SetSpeed(100000);
        mOutput = std::tmpfile();
        mFilter.SetDebugOutput(mOutput);
        mFilter.FilterActive(true);
    }
    void TearDown() override { mFilter.SetDebugOutput(nullptr); }

    bool Feed(transport::Blob bytes) { return mFilter.Filter(bytes.data(), static_cast<int>(bytes.size())); }

    /// Feeds a packet followed by another, so that the packet is confirmed and analysed.
    void FeedProved(const transport::Blob& packet) {
        transport::Blob bytes = packet;
        transport::Append(bytes, transport::Filled(0x1FFE, 0, 0xFF));
        Feed(bytes);
    }

    /// A stream that sends at every call, so that nothing is pending.
    Streamer* AddEagerStream(int id) {
        mFilter.AddStream(id, "239.1.1.1", 5000);
        const platform::MutexLock lock(mFilter.mMutex);
        mFilter.mStreamersList[id]->SetPacketSize(0);
        return mFilter.mStreamersList[id].get();
    }

    /// The PID table's row, between two buffers.
    PacketIdMapType& Row(unsigned pid) NO_THREAD_SAFETY_ANALYSIS { return mFilter.mPacketIdMap[pid]; }

    /// \return whether a stream may send, while its slot doesn't change
    bool IsActive(int id) NO_THREAD_SAFETY_ANALYSIS { return mFilter.mStreamersList[id]->Activated(); }

    /// Number of sections in the collector, between two buffers.
    std::size_t Sections() NO_THREAD_SAFETY_ANALYSIS { return mFilter.mpTableCollector->GetStats().size(); }

    /// Has the next repetition of each section of the guide filed again.
    void ForgetFiledSections() NO_THREAD_SAFETY_ANALYSIS { mFilter.mFiledSections = {}; }

    /// The output of the streams since the last call.
    transport::Blob TakeOutput() {
        std::fflush(mOutput);
        transport::Blob bytes;
        std::fseek(mOutput, mRead, SEEK_SET);
        for (int c; (c = std::fgetc(mOutput)) != EOF;) bytes.push_back(static_cast<std::uint8_t>(c));
        mRead += static_cast<long>(bytes.size());
        return bytes;
    }

    TunerManager mTuner{'T'};
    TsFilter mFilter{'T', &mTuner};
    FILE* mOutput = nullptr;
    long mRead = 0;
};
