// zulctl raw: any request, and its answer with control bytes shown.
#include <fmt/format.h>

#include "commands/commands.h"
#include "output/escape.h"

namespace zulctl {

namespace {

struct RawChoice {
    std::string request, listen;
};

void RunRaw(Session& session, const RawChoice& choice) {
    const std::string request = Unescaped(choice.request);
    if (request.size() > kLargestRequest) {
        throw Failure(kUsage, "a board takes {} bytes at most, this has {}", kLargestRequest, request.size());
    }
    Client client = session.Connect(std::nullopt);
    Json replies = Json::array();
    std::string text;
    const auto take = [&](const std::string& bytes, bool forwarded) {
        replies.push_back({{"text", bytes}, {"hex", HexText(bytes)}, {"forwarded", forwarded}});
        text += Escaped(bytes) + "\n";
    };
    if (choice.listen.empty()) {
        Client::IsLast isLast;
        if (BeginsWith(request, "SCAL")) isLast = [](std::string_view piece) { return piece.ends_with('\0'); };
        take(client.Ask(request, nullptr, isLast), KindOf(request).route == Route::kForwarded);
    } else {
        client.Listen(request, ParseSpan(choice.listen), [&](const Datagram& datagram) {
            take(datagram.bytes, datagram.from.port != client.Board().port);
            return true;
        });
        if (replies.empty()) throw Failure(kNoAnswer, EndpointText(client.Board()) + " sends nothing");
    }
    session.out.Emit("zulctl.raw/1", {{"request", request}, {"replies", replies}}, [&] { return text; });
    if (IsKo(replies.front()["text"].get<std::string>())) throw Failure(kRefused, "");
}

}  // namespace

void AddRawCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "raw", "Send any request and show the answer, with control bytes visible", RunRaw);
    command->footer(
        "An answer of KO exits with 1; the debug requests always answer so. What has no command of its own:\n"
        "  VSCALE,0,0,50,50,255   places a receiver's video and browser: corner and size in percent, alpha\n"
        "  MCASTPACKETSIZE1316   sets the datagram size of the streams that run, up to 32768\n"
        "  RESOLUTION? RESOLUTION3   shows or sets its output resolution, by the board's own number\n"
        "  URLkey16               presses a key of its browser, 0 to 65534");
    command->add_option("request", choice->request, "The request; \\r \\n \\t \\\\ \\xNN stand for bytes")->required();
    AddOption(command, "--for SPAN", choice->listen, "Show all that comes back within this time, in any shape");
}

}  // namespace zulctl
