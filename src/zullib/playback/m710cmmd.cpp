// Orders to the player: a line cut into words, the scan over them, the records, and the queue.
#include "playback/m710cmmd.h"

#include <sys/ipc.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "platform/msgqueue.h"
#include "playback/playeroptions.h"

namespace {

constexpr int kMaxParameters = 384;  ///< bytes after a command number
constexpr int kSentBehind = 4;       ///< trailing zero bytes
constexpr int kMaxWords = 256;

/// The record of one order, while it is filled. Fields are reached by their offsets, which the option table holds.
class OrderRecord {
 public:
    explicit OrderRecord(const PlayerOption& option) : mSize(option.size) {
        for (const OptionWord& word : option.words) {
            if (!word.IsText()) Put(word.offset, word.absent);
        }
        for (const FixedField& field : option.fixed) Put(field.offset, field.value);
    }

    void Take(const OptionWord& word, const char* text);

    const sMSG_COMMON_FORMAT& Get() const { return mRecord.record; }
    const char* Parameters() const { return Bytes() + sizeof(std::int32_t); }
    int Size() const { return mSize; }  ///< bytes of the parameters

 private:
    char* Bytes() { return reinterpret_cast<char*>(&mRecord); }
    const char* Bytes() const { return reinterpret_cast<const char*>(&mRecord); }
    void Put(std::size_t offset, std::int32_t value) { std::memcpy(Bytes() + offset, &value, sizeof value); }
    void PutText(const OptionWord& word, const char* text, std::size_t room);

    PaddedRecord mRecord{};
    int mSize;
};

void OrderRecord::Take(const OptionWord& word, const char* text) {
    switch (word.kind) {
        case Kind::kUnread: break;
        case Kind::kSigned: Put(word.offset, ValueOf(text, Number::kSigned)); break;
        case Kind::kUnsigned: Put(word.offset, ValueOf(text, Number::kUnsigned)); break;
        case Kind::kNotZero:
            if (const std::int32_t value = ValueOf(text, Number::kUnsigned); value != 0) Put(word.offset, value);
            break;
        case Kind::kPort: {
            std::int32_t flags = 0;
            std::memcpy(&flags, Bytes() + word.offset, sizeof flags);
            Put(word.offset, flags | ValueOf(text, Number::kUnsigned));
            break;
        }
        case Kind::kHex: Put(word.offset, ValueOf(text, Number::kHex)); break;
        case Kind::kUpperHex:
            Put(word.offset, static_cast<std::int32_t>(static_cast<std::uint32_t>(ValueOf(text, Number::kHex)) << 16));
            break;
        case Kind::kMode:
            Put(word.offset, ValueOf(text, Number::kUnsigned));
            Put(word.offset - offsetof(sKBL_LAYER_INFO, xyMode), VIDEO_LAYER);
            break;
        case Kind::kReadWrite: Put(word.offset, std::strcmp(text, "rw") == 0 ? 1 : 0); break;
        case Kind::kText: PutText(word, text, word.size - 1u); break;
        case Kind::kName:
            PutText(word, text, word.size - 1u);
            mSize += static_cast<int>(strnlen(text, word.size - 1u));
            break;
        case Kind::kUnterminated: PutText(word, text, word.size); break;
    }
}

/// The record is zero-filled: the rest of a field terminates its text.
void OrderRecord::PutText(const OptionWord& word, const char* text, std::size_t room) {
    std::memcpy(Bytes() + word.offset, text, strnlen(text, room));
}

}  // namespace

int send_msg(unsigned int msgQID, unsigned int TypeId, unsigned int cmmdId, const void* pParam, int paramSize) {
    platform::MsgQueue queue;
    if (!queue.Open(static_cast<int>(msgQID))) return 0;
    struct {
        std::uint32_t cmmdId;
        char parameters[kMaxParameters + kSentBehind];
    } message{cmmdId, {}};
    const int size = std::clamp(paramSize, 0, kMaxParameters);
    if (pParam != nullptr) std::memcpy(message.parameters, pParam, static_cast<std::size_t>(size));
    const auto length = sizeof message.cmmdId + static_cast<std::size_t>(size + kSentBehind);
    if (queue.Send(static_cast<int>(TypeId), &message, length, IPC_NOWAIT)) return 1;
    const int error = errno;
    std::printf("[kb] can't send cmmd %u Type: %u to msg %u (id=%d)\n\tError %s (%d)\n", cmmdId, TypeId, msgQID,
                queue.Id(), std::strerror(error), error);
    return 0;
}

int RunOrder(const PlayerOption& option, const Words& words, int at) {
    OrderRecord record(option);
    const int wanted = static_cast<int>(option.words.size());
    int taken = 0;
    for (; taken < wanted && words.Usable(at + 1 + taken); ++taken) {
        record.Take(option.words[static_cast<std::size_t>(taken)], words[at + 1 + taken]);
    }
    const bool dropsOne = taken < wanted || option.oneMore;
    const int next = at + 1 + taken + (dropsOne ? 1 : 0);
    if (taken < option.required) return option.missing == Missing::kDropLine ? kEndOfLine : next;
    if (option.print != nullptr) option.print(option, record.Get(), words[at + 1]);
    send_msg(option.to.key, option.to.type, static_cast<unsigned>(option.cmmdId), record.Parameters(), record.Size());
    return next;
}

int Main(int argc, char** argv) {
    const Words words{argc, argv};
    if (argc < 1) {
        RunHelp({}, words, 0);
        return 0;
    }
    for (int at = 0; at < argc && at != kEndOfLine;) {
        const PlayerOption* const option = FindOption(words[at]);
        at = option != nullptr ? option->run(*option, words, at) : at + 1;
    }
    return 0;
}

void m710cmmd(char* arg) {
    static char name[] = "m7";  // in place of a program's name; matches no option
    char* table[kMaxWords];     // per call: the host and the command thread may give orders concurrently
    std::printf("m710cmmd %s\n", arg);
    int argc = 0;
    table[argc++] = name;
    char* position = nullptr;
    for (char* word = strtok_r(arg, " ", &position); word != nullptr && argc < kMaxWords;
         word = strtok_r(nullptr, " ", &position)) {
        if (argc >= kMaxWords - 1) std::fputs("m710cmmd TOO MANY ARGUMENTS", stderr);
        table[argc++] = word;
    }
    Main(argc, table);
}
