// Requests of streams, and what is refused before it is sent.
#include "protocol/stream_request.h"

#include <gtest/gtest.h>

#include "output/failure.h"

namespace zulctl {
namespace {

TEST(StreamRequest, TextsInTheFormOfTheProtocol) {
    StreamRequest request{*ParseEndpoint("239.1.1.1:5000"), 0x3F, {}, std::nullopt};
    EXPECT_EQ(StartText(request), "UNIT1,239.1.1.1,5000,3f") << "the channel in hexadecimal";
    request.programmes = {ParseProgramme("1a2b:3c4d"), ParseProgramme("1:2")};
    EXPECT_EQ(StartText(request), "UNIT1,239.1.1.1,5000,3f,1a2b,3c4d,1,2");
    request.slot = 7;
    EXPECT_EQ(StartText(request), "UNIT4,7,239.1.1.1,5000,3f,1a2b,3c4d,1,2");
    EXPECT_EQ(StopText(std::nullopt), "UNIT0");
    EXPECT_EQ(StopText(2), "UNIT5,2");
}

TEST(StreamRequest, RefusesWhatABoardWould) {
    const StreamRequest good{*ParseEndpoint("239.1.1.1:5000"), 17, {}, std::nullopt};
    const auto refused = [&](auto change) {
        StreamRequest request = good;
        change(request);
        EXPECT_THROW(StartText(request), Failure);
    };
    refused([](StreamRequest& r) { r.to.address = 0x0A000001; });
    refused([](StreamRequest& r) { r.to.port = 0; });
    refused([](StreamRequest& r) { r.channel = 159; });
    refused([](StreamRequest& r) { r.slot = 8; });
    refused([](StreamRequest& r) { r.programmes.assign(40, {0x1a2b, 0x3c4d}); });  // longer than what a board keeps
    for (const char* text : {"", "1", "1:", ":2", "g:1", "10000:1", "1:2:3"})
        EXPECT_THROW(ParseProgramme(text), Failure) << text;
}

}  // namespace
}  // namespace zulctl
