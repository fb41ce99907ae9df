// Printing.
#include "output/output.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

constexpr std::size_t kDefaultWidth = 80, kWidest = 10000;

/// \return the width of a terminal; kWidest where it is none
std::size_t WidthOf(int fd) {
    if (isatty(fd) == 0) return kWidest;
    if (const char* columns = std::getenv("COLUMNS")) {
        const unsigned long width = std::strtoul(columns, nullptr, 10);
        if (width > 0 && width <= kWidest) return width;
    }
    winsize size{};
    return ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kDefaultWidth;
}

bool MayColour() {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) && (refused == nullptr || *refused == 0) &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

void Write(std::FILE* file, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), file);
    std::fflush(file);
}

/// Appends "key=value" for each value in a value.
void Flatten(const Json& value, const std::string& key, std::string& line) {
    if (value.is_object() || value.is_array()) {
        std::size_t index = 0;
        for (const auto& item : value.items()) {
            const std::string part = value.is_object() ? item.key() : std::to_string(index++);
            Flatten(item.value(), key.empty() ? part : key + "." + part, line);
        }
        return;
    }
    std::string text = value.is_string() ? Escaped(value.get<std::string>()) : value.is_null() ? "" : value.dump();
    if (text.find_first_of(" \"") != std::string::npos) {
        for (std::size_t at = 0; (at = text.find('"', at)) != std::string::npos; at += 2) text.insert(at, "\\");
        text = '"' + text + '"';
    }
    line += (line.empty() ? "" : " ") + key + "=" + text;
}

}  // namespace

Output::Output()
    : mOutIsTerminal(isatty(STDOUT_FILENO) != 0),
      mErrIsTerminal(isatty(STDERR_FILENO) != 0),
      mColour(MayColour()),
      mWidth(WidthOf(STDOUT_FILENO)),
      mErrWidth(WidthOf(STDERR_FILENO)) {}

void Output::Emit(std::string_view schema, const Json& body, const std::function<std::string()>& people, int indent) {
    const std::lock_guard lock(mMutex);
    Progress("");
    switch (format) {
        case Format::kJson: Write(stdout, JsonText(schema, body, indent)); break;
        case Format::kPlain: Write(stdout, PlainText(body)); break;
        case Format::kTable: Write(stdout, people()); break;
    }
}

void Output::Line(const std::string& text) {
    const std::lock_guard lock(mMutex);
    Progress("");
    Write(stderr, text + "\n");
}

void Output::Say(const std::string& line) {
    if (!quiet) Line(line);
}

void Output::Error(const std::string& line) {
    Line("zulctl: " + Styled(EscapedMessage(line), Style::kBad, mErrIsTerminal && mColour));
}

void Output::CheckWritten() const {
    if (std::ferror(stdout) != 0) throw Failure(kUsage, "standard output can't be written");
}

void Output::Confirm(const std::string& what, const std::string& question, bool yes) {
    if (yes) return Say(what);
    Line(what);
    if (isatty(STDIN_FILENO) == 0 || format != Format::kTable)
        throw Failure(kUsage, "nobody can be asked here; --yes goes ahead without a question");
    Write(stderr, question + " [y/N] ");
    char answer[16] = "";
    if (std::fgets(answer, sizeof answer, stdin) == nullptr || (answer[0] != 'y' && answer[0] != 'Y'))
        throw Failure(kRefused, "not confirmed; nothing was sent");
}

void Output::Warning(const std::string& line) {
    if (!quiet) Line("zulctl: " + Styled(EscapedMessage(line), Style::kWarn, mErrIsTerminal && mColour));
}

void Output::Progress(const std::string& line) {
    const std::lock_guard lock(mMutex);
    if (!mErrIsTerminal || quiet || (line.empty() && !mProgressShown)) return;
    Write(stderr, "\r\x1b[K" + CutToWidth(EscapedMessage(line), mErrWidth - std::min<std::size_t>(mErrWidth, 1)));
    mProgressShown = !line.empty();
}

void WriteFile(const std::string& path, const std::string& text) {
    std::error_code error;
    const bool inPlace = std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error);
    const std::string part = inPlace ? path : fmt::format("{}.{}", path, getpid());
    std::ofstream file(part, std::ios::binary);
    file << text;
    file.close();
    if (file && !inPlace) std::filesystem::rename(part, path, error);
    if (file && !error) return;
    std::error_code ignored;
    std::filesystem::remove(part, ignored);
    throw Failure(kUsage, path + " can't be written");
}

std::string JsonText(std::string_view schema, const Json& body, int indent) {
    Json whole = {{"schema", schema}};
    whole.update(body);
    return whole.dump(indent, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string PlainText(const Json& body) {
    std::string first, lines;
    for (const auto& member : body.items()) {
        const Json& value = member.value();
        const bool list = value.is_array() && !value.empty() && value.front().is_object();
        if (!list) Flatten(value, member.key(), first);
        for (std::size_t n = 0; list && n < value.size(); ++n) {
            std::string line;
            Flatten(value[n], "", line);
            lines += line + "\n";
        }
    }
    return first + (first.empty() ? "" : "\n") + lines;
}

std::string Bar(double part, std::size_t width) {
    const auto full = static_cast<std::size_t>(std::clamp(part, 0.0, 1.0) * static_cast<double>(width));
    std::string bar;
    for (std::size_t n = 0; n < width; ++n) bar += n < full ? "█" : "░";
    return bar;
}

std::string BitRateText(double bits) {
    if (bits >= 1e6) return fmt::format("{:.2f} Mbit/s", bits / 1e6);
    if (bits >= 1e3) return fmt::format("{:.1f} kbit/s", bits / 1e3);
    return fmt::format("{:.0f} bit/s", bits);
}

}  // namespace zulctl
