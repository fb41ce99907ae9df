// docs/protocol.md describes every keyword in one form, with the roles that accept it. tests/field/protocol tries its
// examples on whole boards.
#include <sstream>

#include "commands/command_fixture.h"

namespace {

/// The description of one keyword.
struct Section {
    std::string keyword;
    Texts labels;  ///< of the lines that begin with "- "
    std::string role;
    bool hasExample = false;
};

std::vector<Section> ReadDocument(const std::string& text) {
    std::vector<Section> sections;
    std::stringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("### ")) {
            sections.push_back({line.substr(4), {}, ""});
        } else if (line.starts_with("## ")) {
            sections.push_back({});  // a chapter; no section of a keyword
        } else if (line.starts_with("- ") && !sections.empty()) {
            const std::size_t colon = line.find(": ");
            sections.back().labels.push_back(line.substr(2, colon - 2));
            if (line.starts_with("- Role: ")) sections.back().role = line.substr(8);
        } else if (!sections.empty() && (line == "```transmitter" || line == "```receiver")) {
            sections.back().hasExample = true;
        }
    }
    std::erase_if(sections, [](const Section& section) { return section.keyword.empty(); });
    return sections;
}

}  // namespace

class DocumentedTransmitter : public CommandManagerTest {
 protected:
    const std::vector<Section> mSections = ReadDocument(FileText(ZUL_SOURCE_DIR "/docs/protocol.md"));

    /// Sends every keyword that only the other role accepts.
    void TryOtherRole(const std::string& role) {
        int tried = 0;
        for (const Section& section : mSections) {
            if (section.role != role) continue;
            EXPECT_EQ(Ask(section.keyword), Texts{"KO\r\n"}) << section.keyword;
            ++tried;
        }
        EXPECT_GT(tried, 3);
    }
    explicit DocumentedTransmitter(char role = 'T') : CommandManagerTest(role) {}
};

class DocumentedReceiver : public DocumentedTransmitter {
 protected:
    DocumentedReceiver() : DocumentedTransmitter('R') {}
};

TEST_F(DocumentedTransmitter, HasASectionForEveryKeywordInTheOrderOfTheTable) {
    ASSERT_EQ(mSections.size(), Keywords().size());
    for (std::size_t row = 0; row < Keywords().size(); ++row) {
        const Section& section = mSections[row];
        EXPECT_EQ(section.keyword, Keyword(row));
        EXPECT_EQ(section.labels, (Texts{"Role", "Form", "Reply", "Refused", "Takes"})) << section.keyword;
        constexpr const char* kRoles[] = {"both", "transmitter", "receiver"};
        EXPECT_EQ(section.role, kRoles[static_cast<std::size_t>(Keywords()[row].roles)]) << section.keyword;
        EXPECT_TRUE(section.hasExample) << section.keyword;
    }
}

TEST_F(DocumentedTransmitter, RefusesWhatReceiversTake) { TryOtherRole("receiver"); }
TEST_F(DocumentedReceiver, RefusesWhatTransmittersTake) { TryOtherRole("transmitter"); }
