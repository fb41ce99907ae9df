// Printing.
#include "output/output.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

constexpr std::size_t kDefaultWidth = 80, kWidest = 10000;

std::size_t TerminalWidth() {
    if (const char* columns = std::getenv("COLUMNS")) {
        const unsigned long width = std::strtoul(columns, nullptr, 10);
        if (width > 0 && width <= kWidest) return width;
    }
    winsize size{};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return kDefaultWidth;
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

void Flatten(const Json& value, const std::string& key, std::string& lines) {
    if (value.is_object() || value.is_array()) {
        std::size_t index = 0;
        for (const auto& item : value.items()) {
            const std::string part = value.is_object() ? item.key() : std::to_string(index++);
            Flatten(item.value(), key.empty() ? part : key + "." + part, lines);
        }
        return;
    }
    lines += key + "=" +
             (value.is_string() ? Escaped(value.get<std::string>())
              : value.is_null() ? ""
                                : value.dump()) +
             "\n";
}

}  // namespace

Output::Output() : mErrIsTerminal(isatty(STDERR_FILENO) != 0), mColour(MayColour()), mWidth(TerminalWidth()) {}

void Output::Emit(std::string_view schema, const Json& body, const std::function<std::string()>& people) {
    Progress("");
    switch (format) {
        case Format::kJson: Write(stdout, JsonText(schema, body)); break;
        case Format::kPlain: Write(stdout, PlainText(body)); break;
        case Format::kTable: Write(stdout, people()); break;
    }
}

void Output::EmitItem(std::string_view schema, const Json& body, const std::function<std::string()>& people) {
    Progress("");
    switch (format) {
        case Format::kJson: Write(stdout, JsonText(schema, body, -1)); break;
        case Format::kPlain: Write(stdout, PlainText(body) + "\n"); break;
        case Format::kTable: Write(stdout, people()); break;
    }
}

void Output::Line(const std::string& text) {
    Progress("");
    Write(stderr, text + "\n");
}

void Output::Say(const std::string& line) {
    if (!quiet) Line(line);
}

void Output::Detail(const std::string& line) {
    if (verbose > 0 && !quiet) Line(line);
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
    if (!HasProgress() || (line.empty() && !mProgressShown)) return;
    Write(stderr, "\r\x1b[K" + CutToWidth(EscapedMessage(line), mWidth - std::min<std::size_t>(mWidth, 1)));
    mProgressShown = !line.empty();
}

std::string JsonText(std::string_view schema, const Json& body, int indent) {
    Json whole = {{"schema", schema}};
    whole.update(body);
    return whole.dump(indent, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string PlainText(const Json& body) {
    std::string lines;
    Flatten(body, "", lines);
    return lines;
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
