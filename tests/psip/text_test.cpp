// Texts of A/65: the structure, its limits, and both kinds of code.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <string>

#include "core/log.h"
#include "psip/multiplestring.h"
#include "transport.h"

#ifdef ZUL_HAS_UCSI
#include <libucsi/atsc/types.h>
#endif

namespace {

using transport::Blob;
using namespace std::string_literals;

struct Segment {
    std::uint8_t compression;
    Blob bytes;
    std::uint8_t mode = 0;
};

/// A structure of strings, each of segments, written by A/65, 6.10.
Blob Structure(const std::vector<std::vector<Segment>>& strings) {
    Blob all{static_cast<std::uint8_t>(strings.size())};
    for (const auto& segments : strings) {
        transport::Append(all, {'e', 'n', 'g', static_cast<std::uint8_t>(segments.size())});
        for (const Segment& segment : segments) {
            transport::Append(all,
                              {segment.compression, segment.mode, static_cast<std::uint8_t>(segment.bytes.size())});
            transport::Append(all, segment.bytes);
        }
    }
    return all;
}

Blob Plain(const std::string& text) { return Blob(text.begin(), text.end()); }

struct Decoded {
    std::string text;
    std::uint8_t mode;
    std::string error;  ///< text on standard error
};

/// Decodes a structure in a block of its exact size.
Decoded Decode(const Blob& structure) {
    const Blob exact(structure);
    int length = -1;
    std::uint8_t mode = 0xEE;
    testing::internal::CaptureStderr();
    char* const text = MultipleStringStructure(exact, &length, &mode);
    Decoded decoded{"", mode, testing::internal::GetCapturedStderr()};
    EXPECT_EQ(text[length], '\0');
    decoded.text.assign(text, static_cast<std::size_t>(length));
    return decoded;
}

// "News" and others, coded by hand with the trees of C.5 and C.7.
const Blob kTheNewsTitle{0x43, 0x65, 0xEC};
const Blob kNewsDescription{0x22, 0xFF, 0x44};                                   // "News."
const Blob kNewsWithoutEnd{0x35, 0xE0};                                          // 12 bits and 4 more, 0000
const Blob kEscapesTitle{0xCB, 0x61, 0xF5, 0x88, 0xCC, 0x5E, 0xBF, 0x18, 0xD6};  // "a#b~c"

TEST(MultipleStringStructure, JoinsWhatItReads) {
    const Segment news{0, Plain("News"), 0};
    const struct {
        const char* name;
        Blob structure;
        std::string text;
        std::uint8_t mode;
    } kCases[] = {
        {"no byte", {}, "", 0xEE},
        {"no string", {0, 1, 2, 3}, "", 0xEE},
        {"a string without segments", Structure({{}}), "", 0xEE},
        {"an empty segment", Structure({{{0, {}, 0x3F}}}), "", 0x3F},
        {"plain", Structure({{news}}), "News", 0},
        {"two languages", Structure({{news}, {{0, Plain("Noticias"), 0x01}}}), "NewsNoticias", 0x01},
        {"UTF-16 stays as it is", Structure({{{0, {0x03, 0xA9, 0x00, 0x41}, 0x3F}}}), "\x03\xA9\0A"s, 0x3F},
        {"title", Structure({{{1, kTheNewsTitle}}}), "The News\0"s, 0},
        {"description", Structure({{{2, kNewsDescription}}}), "News.\0"s, 0},
        {"the terminators of decoded segments stay",
         Structure({{{1, kTheNewsTitle}, news, {2, kNewsDescription}}, {news}}), "The News\0NewsNews.\0News"s, 0},
        {"a code of no bytes", Structure({{{1, {}}, news}}), "\0News"s, 0},
        {"bytes behind the end character", Structure({{{1, {0x43, 0x65, 0xEC, 0x43, 0x65}}}}), "The News\0"s, 0},
        {"escaped characters", Structure({{{1, kEscapesTitle}}}), "a#b~c\0"s, 0},
        {"reserved compressions", Structure({{news, {3, Plain("xyz")}, {255, Plain("z")}, news}}), "NewsNews", 0},
    };
    for (const auto& [name, structure, text, mode] : kCases) {
        const Decoded decoded = Decode(structure);
        EXPECT_EQ(decoded.text, text) << name;
        EXPECT_EQ(decoded.mode, mode) << name;
        EXPECT_EQ(decoded.error, "") << name;
    }
}

TEST(MultipleStringStructure, EveryCutAndEveryLengthThatLiesYieldsWhatIsThere) {
    const Blob whole = Structure({{{0, Plain("One,")}, {0, Plain("two,")}}, {{0, Plain("three")}}});
    const std::string text = "One,two,three";
    std::size_t before = 0;
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        const Decoded decoded = Decode(Blob(whole.data(), whole.data() + cut));
        EXPECT_EQ(decoded.text, text.substr(0, decoded.text.size())) << "cut at " << cut;
        EXPECT_GE(decoded.text.size(), before) << "cut at " << cut;
        before = decoded.text.size();
    }
    EXPECT_EQ(before, text.size());

    const std::size_t lengths[] = {0, 4, 7, 14, 22, 25};  // number_strings, number_segments, number_bytes
    const Blob coded = Structure({{{1, kTheNewsTitle}, {2, kNewsDescription}}});
    for (unsigned told = 0; told < 256; ++told) {
        for (const std::size_t at : lengths) {
            for (Blob lying : {whole, coded}) {
                if (at >= lying.size()) continue;
                lying[at] = static_cast<std::uint8_t>(told);
                EXPECT_LT(Decode(lying).text.size(), 64u) << "length " << told << " at " << at;
            }
        }
    }
}

TEST(MultipleStringStructure, TextsEndAt1023Bytes) {
    const std::string panic = "  MultipleStringStructure: Text too long: 1023, max is 1023\n";
    const Blob most(255, 'x');
    const struct {
        const char* name;
        std::vector<Segment> last;
        std::size_t size;
        bool cut;
    } kCases[] = {
        // Four segments make 1020 bytes; these follow.
        {"1020", {}, 1020, false},
        {"1022", {{0, Plain("ab")}}, 1022, false},
        {"1023", {{0, Plain("abc")}}, 1023, true},
        {"1100", {{0, Blob(80, 'x')}}, 1023, true},
        {"what follows is dropped", {{0, Blob(80, 'x')}, {0, Plain("abc")}}, 1023, true},
        {"1022, the last a terminator", {{0, Plain("a")}, {1, {}}}, 1022, false},
        {"1023, the last a terminator", {{0, Plain("ab")}, {1, {}}}, 1023, true},
        {"coded, to its third character", {{1, kTheNewsTitle}}, 1023, true},
    };
    for (const auto& [name, last, size, cut] : kCases) {
        std::vector<Segment> segments(4, Segment{0, most});
        segments.insert(segments.end(), last.begin(), last.end());
        const Decoded decoded = Decode(Structure({segments}));
        EXPECT_EQ(decoded.text.size(), size) << name;
        EXPECT_EQ(decoded.error.find(panic) != std::string::npos, cut) << name << decoded.error;
        if (last.size() == 1 && last[0].compression == 1) {
            EXPECT_EQ(decoded.text.substr(1020), "The");
        }
    }
    std::vector<Segment> expanding(255, Segment{2, Blob(255, 0xA5)});
    EXPECT_EQ(Decode(Structure({expanding})).text.size(), 1023u);
}

std::string Huffman1(const Blob& coded, unsigned table, std::uint32_t room = 2000) {
    std::vector<char> out(room + 1, '?');  // exact block
    std::uint32_t size = 0;
    EXPECT_EQ(atsc_huffman1_to_string(coded, out.data(), room, &size, table), out.data());
    EXPECT_GE(size, 1u);
    EXPECT_LE(size, room + 1);
    EXPECT_EQ(out[size - 1], '\0');
    return std::string(out.data(), size - 1);
}

TEST(Huffman1, EndsWithItsBitsItsRoomOrItsTable) {
    for (std::size_t cut = 0; cut <= kEscapesTitle.size(); ++cut) {
        const std::string text = Huffman1(Blob(kEscapesTitle.data(), kEscapesTitle.data() + cut), 1);
        EXPECT_EQ(text, "a#b~c"s.substr(0, text.size())) << "cut at " << cut;
    }
    // An escape (11001011 in C.5) with seven bits after it ends the text; with eight it is a character.
    EXPECT_EQ(Huffman1({0xCB}, 1), "");
    EXPECT_EQ(Huffman1({0xCB, 0x23}, 1), "#");
    EXPECT_EQ(Huffman1({0xCB, 0xA3}, 1), "#") << "the first of the eight isn't used";
    EXPECT_EQ(Huffman1(kNewsWithoutEnd, 1).substr(0, 4), "News");
    for (std::uint32_t room = 0; room < 10; ++room) {
        EXPECT_EQ(Huffman1(kTheNewsTitle, 1, room), "The News"s.substr(0, room)) << room;
    }
    for (const unsigned table : {0u, 3u, 255u, 0xFFFFFFFFu}) EXPECT_EQ(Huffman1(kTheNewsTitle, table), "") << table;
}

#ifdef ZUL_HAS_UCSI
TEST(Huffman1, RandomBitsAreReadAsLibucsiReadsThem) {
    std::mt19937 random(5);
    int same = 0;
    for (int round = 0; round < 20000; ++round) {
        Blob segment{static_cast<std::uint8_t>(1 + round % 2), 0, static_cast<std::uint8_t>(random() % 100)};
        for (int left = segment[2]; left > 0; --left) segment.push_back(static_cast<std::uint8_t>(random()));
        const std::string text = Huffman1(Blob(segment.begin() + 3, segment.end()), segment[0]);
        std::uint8_t* buffer = nullptr;
        std::size_t room = 0, used = 0;
        atsc_text_segment_decode(reinterpret_cast<atsc_text_string_segment*>(segment.data()), &buffer, &room, &used);
        const std::string theirs(reinterpret_cast<char*>(buffer), used);
        std::free(buffer);
        same += text == theirs ? 1 : 0;
    }
    // libucsi treats the first bit after an escape differently; a third of these texts have one, all others agree.
    EXPECT_GT(same, 14000);
}
#endif

/// The code of a table file, by character.
struct Code {
    unsigned value, bits;
};
std::vector<std::pair<char, Code>> ReadCodes(const char* name) {
    std::ifstream file(std::string(ZUL_DATA "/") + name);
    std::string line;
    std::getline(file, line);  // heading
    std::vector<std::pair<char, Code>> codes;
    while (std::getline(file, line)) {
        unsigned value = 0, character = 0, bits = 0;
        EXPECT_EQ(std::sscanf(line.c_str(), "%x %x %u", &value, &character, &bits), 3) << line;
        codes.push_back({static_cast<char>(character), {value, bits}});
    }
    return codes;
}

std::string Huffman2(const Blob& coded, unsigned table) {
    const Blob exact(coded);
    std::uint32_t size = 0;
    const char* const text = atsc_huffman2_to_string(exact, &size, table);
    EXPECT_EQ(text[size - 1], '\0');
    return std::string(text, size - 1);
}

TEST(Huffman2, ReadsEveryCodeOfItsTable) {
    std::mt19937 random(6);
    for (const unsigned table : {1u, 2u}) {
        const auto codes = ReadCodes(table == 1 ? "table128.tsv" : "table255.tsv");
        ASSERT_EQ(codes.size(), table == 1 ? 128u : 255u);
        for (std::size_t round = 0; round < codes.size() + 500; ++round) {
            std::string text, bits;
            for (std::size_t i = 0; i < 1 + round % 40; ++i) {
                const auto& [character, code] = codes[i == 0 ? round % codes.size() : random() % codes.size()];
                text += character;
                for (unsigned bit = code.bits; bit-- > 0;) bits += (code.value >> bit & 1) != 0 ? '1' : '0';
            }
            // The last three bits are not decoded; up to 7 padding bits may decode to one more character.
            bits.append(10 - (bits.size() + 2) % 8, '1');
            ASSERT_EQ(bits.size() % 8, 0u);
            Blob coded(bits.size() / 8);
            for (std::size_t i = 0; i < bits.size(); ++i) {
                coded[i / 8] = static_cast<std::uint8_t>(coded[i / 8] | (bits[i] - '0') << (7 - i % 8));
            }
            ASSERT_EQ(Huffman2(coded, table).substr(0, text.size()), text) << "table " << table << ", round " << round;
        }
    }
}

TEST(Huffman2, EndsWithItsBitsAndItsBuffer) {
    EXPECT_EQ(Huffman2({}, 1), "");
    EXPECT_EQ(Huffman2({0x00}, 1), "  ") << "blanks of three bits; the last two bits are none";
    EXPECT_EQ(Huffman2({0x00}, 2), "   ") << "blanks of two bits";
    EXPECT_EQ(Huffman2({0x00, 0x10}, 1), "   e") << "the last three bits are not decoded";
    EXPECT_EQ(Huffman2(Blob(400, 0x00), 1).size(), 1023u);
    EXPECT_EQ(Huffman2(Blob(400, 0x00), 7).size(), 1023u);
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        Blob coded(random() % 100);
        for (auto& byte : coded) byte = static_cast<std::uint8_t>(random());
        EXPECT_LE(Huffman2(coded, round % 2 == 0 ? 1 : 2).size(), coded.size() * 8 / 2) << "round " << round;
    }
}

}  // namespace
