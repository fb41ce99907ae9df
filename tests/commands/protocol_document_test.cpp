// docs/protocol.md: it tells of every keyword in one form, and its examples are what boards really answer.
#include <algorithm>
#include <regex>

#include "broadcasttime.h"
#include "commands/command_fixture.h"
#include "filter/tsfilter.h"
#include "transport.h"
#include "tunermanager.h"

namespace {

/// A request and what comes back, in bytes.
struct Example {
    std::string request;
    Texts replies;
};

/// What the document says of one keyword.
struct Section {
    std::string keyword;
    Texts labels;  ///< of the lines that begin with "- "
    std::string role;
};

/// \return the bytes of a text with the escapes of C
std::string Unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            bytes += text[at];
            continue;
        }
        const char kind = text[++at];
        if (kind == 'x') {
            bytes += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            bytes += kind == 'r' ? '\r' : '\n';
        }
    }
    return bytes;
}

/// The document, read once for each test.
class Document {
 public:
    explicit Document(const std::string& text) {
        std::stringstream lines(text);
        std::string role;  // of the example that a line stands in
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("```")) {
                role = line.substr(3);
            } else if (!role.empty()) {
                ReadExample(role, line);
            } else if (line.starts_with("### ")) {
                sections.push_back({line.substr(4), {}, ""});
            } else if (line.starts_with("- ") && !sections.empty()) {
                const std::size_t colon = line.find(": ");
                sections.back().labels.push_back(line.substr(2, colon - 2));
                if (line.starts_with("- Role: ")) sections.back().role = line.substr(8);
            }
        }
    }

    std::vector<Section> sections;
    std::vector<Example> transmitter, receiver;

 private:
    void ReadExample(const std::string& role, const std::string& line) {
        std::vector<Example>& examples = role == "transmitter" ? transmitter : receiver;
        const std::string bytes = Unescaped(line.substr(2));
        if (line.starts_with("> ")) examples.push_back({bytes, {}});
        if (line.starts_with("< ")) examples.back().replies.push_back(bytes);
    }
};

/// Replies in the order of their texts, as messages of a scan come when they come, and with the same load.
Texts Comparable(Texts replies) {
    static const std::regex load("[0-9]+%");
    for (std::string& reply : replies) reply = std::regex_replace(reply, load, "7%");
    std::sort(replies.begin(), replies.end());
    return replies;
}

constexpr std::int64_t kListening = 5'000'000;  ///< sleep of the module in which a tuned channel is heard
constexpr std::int64_t kChanging = 200'000;     ///< and that in front of a receiver's change of stream

}  // namespace

class DocumentedBoard : public CommandManagerTest {
 protected:
    explicit DocumentedBoard(char role = 'T') : CommandManagerTest(role) {
        mStatus.TunerStrength(5);
        fast_machine::OnShell([this](const std::string& line) {
            mStatus.TunerStrength(line.find("-atsc 7 ") != std::string::npos ? 5 : 0);
        });
    }
    ~DocumentedBoard() override {
        fast_machine::OnShell(nullptr);
        fast_machine::OnSleep(nullptr);
    }

    const Document mDocument{FileText(ZUL_SOURCE_DIR "/docs/protocol.md")};

    void Try(const std::vector<Example>& examples) {
        EXPECT_FALSE(examples.empty());
        for (const Example& example : examples) {
            Texts replies = Ask(example.request);
            while (replies.size() < example.replies.size()) {
                const Texts late = mMaster.Take(2000);
                if (late.empty()) break;
                replies.insert(replies.end(), late.begin(), late.end());
            }
            EXPECT_EQ(Comparable(replies), Comparable(example.replies)) << example.request;
        }
    }

    /// Asks for every keyword that the document gives to the other role.
    void TryOtherRole(const std::string& role) {
        for (const Section& section : mDocument.sections) {
            if (section.role == role) { EXPECT_EQ(Ask(section.keyword), Texts{"KO\r\n"}) << section.keyword; }
        }
    }
};

/// On channel 7: programme 3c4d, NEWS on 7.1 with two languages, captions and two events, and an empty 3c4e, 7.2.
class DocumentedTransmitter : public DocumentedBoard {
 protected:
    DocumentedTransmitter() {
        fast_machine::OnSleep([this](std::int64_t microseconds) {
            if (microseconds == kListening && Tuner().GetCurrentChannel() == 7) Broadcast();
        });
    }

    void Broadcast() {
        using namespace transport;
        const Blob captions{0x86, 7, 0xC1, 'e', 'n', 'g', 0xC1, 0x3F, 0xFF};
        const Blob english{0x0A, 4, 'e', 'n', 'g', 0}, spanish{0x0A, 4, 's', 'p', 'a', 0};
        const Blob news = Pmt(0x3c4d, {{0x02, 0x31, captions}, {0x81, 0x34, english}, {0x81, 0x35, spanish}});
        Blob stream;
        for (unsigned turn = 0; turn < 5; ++turn) {
            Append(stream, SectionPacket(0, turn, Pat(0x1a2b, 0, {{0x3c4d, 0x30}, {0x3c4e, 0x40}})));
            Append(stream, SectionPacket(0x30, turn, news));
            Append(stream, SectionPacket(0x40, turn, Pmt(0x3c4e, {})));
        }
        Filter().Filter(stream.data(), static_cast<int>(stream.size()));
        Name(0x3c4d, "\0N\0E\0W\0S\0\0\0\0\0\0", 1);
        Name(0x3c4e, "\0F\0I\0L\0M\0S\0\0\0\0", 2);
        const Time& clock = *Time::Self();
        Time::Self()->SetTime(clock.MjdToSystem(0xd3a4, 1930), 0, 0);
        Announce(1, clock.MjdToSystem(0xd3a4, 1900), 60, "News");
        Announce(2, clock.MjdToSystem(0xd3a4, 2000), 90, "Film");
        Tuner().SetExtendedText(1, 1 << 2 | 2, "What has happened", 17, 0);
    }

    void Name(std::uint16_t programme, const char* name, std::uint16_t minor) {
        Tuner().SetPsipInfoForProgram(0x1a2b, programme, name, 7, minor, 4, 0, 0x1a2b, minor);
    }
    void Announce(std::uint16_t id, std::uint32_t start, std::uint32_t minutes, std::string title) {
        Tuner().SetEventInfoForProgram(1, id, start, minutes * 60, static_cast<std::uint8_t>(title.size()), title.data(), 0);
    }
};

/// Plays what it is told, as the player would tell.
class DocumentedReceiver : public DocumentedBoard {
 protected:
    DocumentedReceiver() : DocumentedBoard('R') {
        fast_machine::OnSleep([this](std::int64_t microseconds) {
            if (microseconds != kChanging) return;
            mAgent.Put("CURRENT_ITEM_BEING_PLAYED", "Stream");
            mStatus.Programme(0x3c4d);
            mStatus.VideoType(1);
            mStatus.AudioType(6);
        });
    }
};

TEST_F(DocumentedTransmitter, HasASectionForEveryKeywordInTheOrderOfTheTable) {
    ASSERT_EQ(mDocument.sections.size(), Keywords().size());
    for (std::size_t row = 0; row < Keywords().size(); ++row) {
        const Section& section = mDocument.sections[row];
        EXPECT_EQ(section.keyword, Keyword(row));
        EXPECT_EQ(section.labels, (Texts{"Role", "Form", "Reply", "Refused", "Takes"})) << section.keyword;
        EXPECT_TRUE(section.role == "both" || section.role == "transmitter" || section.role == "receiver") << section.keyword;
    }
}

TEST_F(DocumentedTransmitter, AnswersAsItsExamplesTell) {
    Try(mDocument.transmitter);
    TryOtherRole("receiver");
}

TEST_F(DocumentedReceiver, AnswersAsItsExamplesTell) {
    Try(mDocument.receiver);
    TryOtherRole("transmitter");
}
