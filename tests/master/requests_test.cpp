// Texts of requests: good ones by row, and what is refused before it is sent.
#include "protocol/requests_text.h"

#include <functional>

#include "master/failure_of.h"

namespace zulctl {
namespace {

TEST(RequestTexts, TakeTheFormOfTheProtocol) {
    const Endpoint group = *ParseEndpoint("239.1.1.1:5000");
    PageRequest window{"http://host/a?b=c", {}};
    window.fields[1] = -5, window.fields[4] = 255;
    StreamRequest stream{group, 0x3F, {}, std::nullopt}, slot = stream;
    slot.programmes = {ParseProgramme("1a2b:3c4d"), ParseProgramme("1:2")};
    slot.slot = 7;
    const struct {
        std::string text, wanted;
    } rows[] = {
        {StartText(stream), "UNIT1,239.1.1.1,5000,3f"},  // the channel in hexadecimal
        {StartText(slot), "UNIT4,7,239.1.1.1,5000,3f,1a2b,3c4d,1,2"},
        {StopText(std::nullopt), "UNIT0"},
        {StopText(2), "UNIT5,2"},
        {PlayText(group, 0x3c4d), "UNIT1,239.1.1.1,5000,0,3c4d"},
        {PlayText(group, std::nullopt), "UNIT3,239.1.1.1,5000"},
        {PageText(window), "URLhttp://host/a?b=c,,-5,,,255"},  // an empty field keeps what the board has
        {PageText({}), "URL"},
        {CaptionsText("off"), "SUBSOFF"},
        {CaptionsText("6"), "SUBS6"},
        {LanguageText("eng", ""), "LANGeng,0"},
        {LanguageText("eng:3", "spa:ff"), "LANGeng,3,spa,ff"},
        {FixedAddressText("192.168.0.10", "192.168.0.1", "255.255.255.0"),
         "DHCP0,192.168.0.10,192.168.0.1,255.255.255.0"},
        {FixedAddressText("10.0.0.5", "0.0.0.0", "255.0.0.0"), "DHCP0,10.0.0.5,0.0.0.0,255.0.0.0"},
        {SerialText("9600,8,n,1"), "SUART9600,8,N,1"},
        {RemoteText("6e"), "REMOTE6e"},
        {RemoteText("1"), "REMOTE01"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, row.wanted);
}

TEST(RequestTexts, RefuseWhatABoardWouldOrWouldMisread) {
    const auto page = [](const std::string& url, std::size_t field = 0, std::optional<int> value = std::nullopt) {
        PageRequest request{url, {}};
        request.fields[field] = value;
        return PageText(request);
    };
    const auto start = [](auto change) {
        StreamRequest request{*ParseEndpoint("239.1.1.1:5000"), 17, {}, std::nullopt};
        change(request);
        return StartText(request);
    };
    const std::function<std::string()> rows[] = {
        [&] { return start([](StreamRequest& stream) { stream.to.address = 0x0A000001; }); },
        [&] { return start([](StreamRequest& stream) { stream.to.port = 0; }); },
        [&] { return start([](StreamRequest& stream) { stream.channel = 159; }); },
        [&] { return start([](StreamRequest& stream) { stream.slot = 8; }); },
        // longer than what a board keeps
        [&] { return start([](StreamRequest& stream) {
                  stream.programmes.assign(40, {0x1a2b, 0x3c4d});
              }); },
        [] { return PlayText(*ParseEndpoint("10.0.0.1:5000"), 1); },
        [&] { return page("http://host/a,b"); },  // a board would cut it there
        [&] { return page("keyboard.html"); },    // and take this for a key
        [&] { return page("KEY5"); },
        [&] { return page("http://host/a b"); },
        [&] { return page(std::string(256, 'a')); },
        [&] { return page("x", 0, 1281); },
        [&] { return page("x", 3, -1); },
        [&] { return page("x", 5, 256); },
        [] { return CaptionsText("0"); },
        [] { return CaptionsText("7"); },  // a board turns them off and says OK
        [] { return LanguageText("en", ""); },
        [] { return LanguageText("engl", ""); },
        [] { return LanguageText("e,g", ""); },
        [] { return LanguageText("eng:g", ""); },
        [] { return LanguageText("eng", "sp"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.1.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.0", "10.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.255", "10.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("224.0.0.5", "224.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.0.5", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.0.1", "255.0.255.0"); },
        [] { return FixedAddressText("10.0.0.%d", "10.0.0.1", "255.255.255.0"); },
        [] { return SerialText("9600,8,N"); },
        [] { return SerialText("9600,8,N,1,1"); },
        [] { return SerialText("9600,8,NN,1"); },
        [] { return SerialText("0,8,N,1"); },
        [] { return SerialText("9600,9,N,1"); },
        [] { return RemoteText("0"); },
        [] { return RemoteText("ff"); },
        [] { return RemoteText("6e "); },
    };
    for (std::size_t n = 0; n < std::size(rows); ++n) {
        SCOPED_TRACE(n);
        FailureOf(kUsage, rows[n]);
    }
    for (const char* text : {"", "1", "1:", ":2", "g:1", "10000:1", "1:2:3"})
        EXPECT_THROW(ParseProgramme(text), Failure) << text;
}

}  // namespace
}  // namespace zulctl
