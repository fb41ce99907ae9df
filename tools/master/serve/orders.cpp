// Orders, one at a time a board.
#include "serve/service.h"

#include "net/stream_order.h"
#include "output/failure.h"
#include "protocol/requests_text.h"

namespace zulctl::serve {

namespace {

[[noreturn]] void Wrong(const char* key) { throw Failure(kUsage, std::string("\"") + key + "\" is missing or wrong"); }

template <typename Value = std::string>
Value FieldOf(const Json& body, const char* key) {
    try {
        return body.at(key).get<Value>();
    } catch (const Json::exception&) {
        Wrong(key);
    }
}

/// \return a number from 0 to `most`, or nothing where it is null or missing
std::optional<int> NumberOf(const Json& body, const char* key, int most) {
    if (!body.contains(key) || body[key].is_null()) return std::nullopt;
    if (!body[key].is_number_unsigned() || body[key].get<std::uint64_t>() > static_cast<std::uint64_t>(most))
        Wrong(key);
    return body[key].get<int>();
}

/// Throws Failure(kRefused) when another transmitter reports sending to the group.
void RefuseTakenGroup(const BoardWatch& boards, const Endpoint& board, const Endpoint& group) {
    for (const BoardState& other : boards.Boards()) {
        if (other.at != board && other.transmitter && other.transmitter->SendsTo(group))
            throw Failure(kRefused, "{} sends to {} already", other.name, EndpointText(group));
    }
}

Json Start(const BoardWatch& boards, Client& client, const Json& body) {
    StreamChoice choice;
    choice.to = FieldOf(body, "to");
    choice.slot = NumberOf(body, "slot", kStreamSlots - 1);
    choice.channels = FieldOf<std::vector<std::string>>(body, "channels");
    if (choice.channels.empty()) Wrong("channels");
    choice.whole = body.contains("whole") && FieldOf<bool>(body, "whole");
    StreamRequest request = FindStream(client, choice);
    if (!request.slot) request.slot = FreeSlot(client, request.to);
    const std::string text = StartText(request);
    CheckAgainstBoard(client, request);
    RefuseTakenGroup(boards, client.Board(), request.to);
    client.Order(text, "the stream");
    return StartedJson(request, text);
}

Json Stop(const BoardWatch&, Client& client, const Json& body) {
    const auto slot = NumberOf(body, "slot", kStreamSlots - 1);
    const std::string text = StopText(slot);
    RefuseWhileBusy(client);
    client.Order(text, "the stop");
    return StoppedJson(slot, text);
}

Json Tell(Client& client, const std::string& text, const char* what) {
    RefuseDuringUpgrade(client);
    client.Order(text, what);
    return {{"board", EndpointText(client.Board())}, {"request", text}, {"done", true}};
}

Json Play(const BoardWatch&, Client& client, const Json& body) {
    const auto stream = ParseEndpoint(FieldOf(body, "stream"));
    if (!stream) Wrong("stream");
    return Tell(client, PlayText(*stream, NumberOf(body, "programme", 0xFFFF)), "the play");
}

Json StopPlaying(const BoardWatch&, Client& client, const Json&) { return Tell(client, "UNIT0", "the stop"); }

constexpr struct {
    std::string_view path;
    Role role;
    const char* schema;
    Json (*obey)(const BoardWatch& boards, Client& client, const Json& body);
} kOrders[] = {
    {"/api/stream/start", Role::kTransmitter, "zulctl.stream/1", Start},
    {"/api/stream/stop", Role::kTransmitter, "zulctl.stream/1", Stop},
    {"/api/play", Role::kReceiver, "zulctl.order/1", Play},
    {"/api/play/stop", Role::kReceiver, "zulctl.order/1", StopPlaying},
};

int StatusOf(const Failure& failure) { return failure.code == kUsage ? 400 : failure.code == kRefused ? 409 : 504; }

}  // namespace

std::pair<int, std::string> Obey(BoardWatch& boards, const std::string& path, const std::string& text) {
    for (const auto& order : kOrders) {
        if (path != order.path) continue;
        try {
            const Json body = Json::parse(text, nullptr, false);
            if (!body.is_object()) throw Failure(kUsage, "an order is a JSON object");
            const auto board = boards.Find(FieldOf(body, "board"));
            if (!board || board->role != order.role)
                throw Failure(kUsage, std::string("no ") + RoleName(order.role) + " is called that");
            Json done;
            boards.Order(board->at, [&](Client& client) { done = order.obey(boards, client, body); });
            return {200, WithSchema(order.schema, done)};
        } catch (const TurnTaken& failure) {
            return {409, ErrorJson(failure.what())};
        } catch (const Failure& failure) {
            return {StatusOf(failure), ErrorJson(failure.what())};
        }
    }
    return {404, ErrorJson("there is no such order")};
}

}  // namespace zulctl::serve
