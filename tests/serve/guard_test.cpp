// Which requests are accepted.
#include "serve/guard.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "output/failure.h"

namespace zulctl::serve {
namespace {

TEST(Guard, KnowsTheNamesThatItIsCalledByWithAnyPort) {
    const Guard guard({"localhost", "127.0.0.1", "Wall.Hotel.example"}, "");
    for (const char* host :
         {"localhost", "LOCALHOST:8410", "127.0.0.1:1", "wall.hotel.example", "WALL.hotel.EXAMPLE:80"})
        EXPECT_TRUE(guard.Knows(host)) << host;
    for (const char* host : {"", ":8410", "localhost.evil.example", "127.0.0.1.evil.example:8410", "127.0.0.2",
                             "localhost:80:80", "localhost:x", "[::1]", "localhost, evil.example", "localhost "})
        EXPECT_FALSE(guard.Knows(host)) << host;
}

TEST(Guard, TakesOrdersFromItsOwnPageAndFromProgramsThatHaveTheToken) {
    const std::string token = "0123456789abcdef0123456789abcdef";
    const Guard guard({"localhost"}, token);
    const Source good{"localhost:8410", "http://localhost:8410", "same-origin", "application/json", token};
    EXPECT_EQ(guard.WhyNot(good), "");
    EXPECT_EQ(guard.WhyNot({"localhost:8410", "", "", "application/json; charset=utf-8", token}), "");  // no browser

    const std::pair<std::string Source::*, std::vector<std::string>> refused[] = {
        {&Source::origin, {"http://evil.example", "https://localhost:8410", "http://localhost:8411", "null"}},
        {&Source::site, {"cross-site", "same-site", "none"}},
        {&Source::contentType, {"", "text/plain", "application/x-www-form-urlencoded"}},
        {&Source::token, {"", token.substr(1), token + "0", "0123456789abcdef0123456789abcdee"}},
    };
    for (const auto& [header, values] : refused) {
        for (const std::string& value : values) {
            Source source = good;
            source.*header = value;
            EXPECT_NE(guard.WhyNot(source), "") << value;
        }
    }
    EXPECT_NE(Guard({"localhost"}, "").WhyNot(good), "") << "a read-only service takes none";
}

TEST(Guard, TokensAreLongSecretAndNew) {
    EXPECT_EQ(NewToken().size(), 32u);
    EXPECT_NE(NewToken(), NewToken());
    const std::string path = testing::TempDir() + "/token";
    EXPECT_THROW(ReadToken(path), Failure);
    const auto read = [&](const char* content, mode_t mode) {
        std::ofstream(path) << content;
        chmod(path.c_str(), mode);
        return ReadToken(path);
    };
    EXPECT_EQ(read("correct-horse_battery\n", 0440), "correct-horse_battery") << "as the service manager gives it";
    for (const char* content : {"fifteen-letters\n", "\n", "with a blank in it\n"})
        EXPECT_THROW(read(content, 0600), Failure) << content;
    EXPECT_THROW(read("correct-horse_battery\n", 0644), Failure) << "all may read it";
}

}  // namespace
}  // namespace zulctl::serve
