/// What zulctl prints, and where: data on standard output in one of three forms, progress and errors on standard error.
#pragma once

#include <fmt/format.h>

#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "output/table.h"

namespace zulctl {

using Json = nlohmann::ordered_json;

enum class Format { kTable, kPlain, kJson };

class Output {
 public:
    Format format = Format::kTable;
    bool quiet = false;

    /// Takes colour and width from the terminal, NO_COLOR and COLUMNS; without a terminal nothing is cut.
    Output();

    /// Prints the result of a command, once: as one JSON object that begins with its schema, as PlainText of the same
    /// object, or as the text of `people`.
    void Emit(std::string_view schema, const Json& body, const std::function<std::string()>& people, int indent = 2);
    /// Prints one of a series of results as soon as it is known: a JSON object a line, PlainText, or the
    /// text of `people`.
    void EmitItem(std::string_view schema, const Json& body, const std::function<std::string()>& people) {
        Emit(schema, body, people, -1);
    }

    /// A line for people on standard error, unless -q.
    void Say(const std::string& line);
    void Error(const std::string& line);
    /// Asks for confirmation before something ends or is lost; with `yes` only prints what. Throws Failure: kRefused
    /// unless the answer is y, kUsage when nobody can be asked.
    void Confirm(const std::string& what, const std::string& question, bool yes);
    /// Throws Failure if output couldn't be written, as to a full disk.
    void CheckWritten() const;
    void Warning(const std::string& line);
    /// A line that the next one replaces; on a terminal only. An empty text clears it.
    void Progress(const std::string& line);

    bool IsTerminal() const { return mOutIsTerminal; }
    std::size_t Width() const { return mWidth; }
    bool Colour() const { return mColour; }
    std::string Paint(const std::string& text, Style style) const { return Styled(text, style, mColour); }
    std::string Render(const Table& table) const { return table.Render(mWidth, mColour); }

 private:
    void Line(const std::string& text);

    std::recursive_mutex mMutex;  ///< work on several boards prints from several threads
    bool mOutIsTerminal;
    bool mErrIsTerminal;
    bool mColour;
    std::size_t mWidth, mErrWidth;
    bool mProgressShown = false;
};

/// Replaces a file atomically: no reader sees a partial one. Throws Failure.
void WriteFile(const std::string& path, const std::string& text);

/// \return the object with its schema in front, in ASCII, without characters that control a terminal
std::string JsonText(std::string_view schema, const Json& body, int indent = 2);

/// \return a line for each object in the lists of the body, and first one for its other members: key=value with blanks
/// between and keys such as streams.0.group. Values are escaped, and quoted where they have blanks or quotes
std::string PlainText(const Json& body);

/// \return "1 board", "2 boards"
std::string Counted(auto count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

/// \return a bar of `width` characters for a part from 0 to 1
std::string Bar(double part, std::size_t width);

/// \return "12.3 Mbit/s" and the like
std::string BitRateText(double bitsPerSecond);

}  // namespace zulctl
