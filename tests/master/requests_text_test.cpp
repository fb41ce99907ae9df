// Texts of requests: good ones by row, and what is refused before it is sent.
#include "protocol/requests_text.h"

#include <gtest/gtest.h>

#include <functional>

#include "output/failure.h"

namespace zulctl {
namespace {

TEST(RequestTexts, TakeTheFormOfTheProtocol) {
    const Endpoint group = *ParseEndpoint("239.1.1.1:5000");
    PageRequest window{"http://host/a?b=c", {}};
    window.fields[1] = -5, window.fields[4] = 255;
    PageRequest alpha;
    alpha.fields[4] = 255, alpha.fields[5] = 0;
    struct Row {
        std::string text, wanted;
    };
    const Row rows[] = {
        {PlayText(group, 0x3c4d), "UNIT1,239.1.1.1,5000,0,3c4d"},
        {PlayText(group, std::nullopt), "UNIT3,239.1.1.1,5000"},
        {PageText(window), "URLhttp://host/a?b=c,,-5,,,255"},  // an empty field keeps what the board has
        {PageText(alpha), "URL,,,,,255,0"},
        {PageText({}), "URL"},
        {PageKeyText(65534), "URLkey65534"},
        {ScaleText(0, 0, 100, 100, 255), "VSCALE,0,0,100,100,255"},
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
    for (const Row& row : rows) EXPECT_EQ(row.text, row.wanted);
}

TEST(RequestTexts, RefuseWhatABoardWouldOrWouldMisread) {
    const auto page = [](const std::string& url, std::size_t field = 0, std::optional<int> value = std::nullopt) {
        PageRequest request{url, {}};
        request.fields[field] = value;
        return PageText(request);
    };
    const std::function<std::string()> rows[] = {
        [] { return PlayText(*ParseEndpoint("10.0.0.1:5000"), 1); },
        [&] { return page("http://host/a,b"); },  // a board would cut it there
        [&] { return page("keyboard.html"); },    // and take this for a key
        [&] { return page("KEY5"); },
        [&] { return page("http://host/a b"); },
        [&] { return page(std::string(256, 'a')); },
        [&] { return page("x", 0, 1281); },
        [&] { return page("x", 3, -1); },
        [&] { return page("x", 5, 256); },
        [] { return PageKeyText(65535); },
        [] { return ScaleText(0, 0, 101, 100, 255); },
        [] { return ScaleText(50, 0, 51, 100, 255); },
        [] { return ScaleText(0, 0, 100, 100, 256); },
        [] { return CaptionsText("0"); },
        [] { return CaptionsText("7"); },  // a board turns them off and says OK
        [] { return CaptionsText(""); },
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
        [] { return SerialText(""); },
        [] { return RemoteText("0"); },
        [] { return RemoteText("ff"); },
        [] { return RemoteText("6e "); },
    };
    int number = 0;
    for (const auto& row : rows) {
        try {
            ADD_FAILURE() << "row " << number << " gave " << row();
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, kUsage) << failure.what();
        }
        ++number;
    }
}

}  // namespace
}  // namespace zulctl
