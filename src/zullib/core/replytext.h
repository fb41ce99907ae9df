/// Text replies, built piece by piece in a buffer that they can't overrun.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

/// Appends formatted text to a fixed buffer. The text is terminated at all times; a piece that doesn't fit
/// is cut at the buffer's end, and what is appended later is dropped.
class ReplyText {
 public:
    /// \param buffer  takes the text, at least one byte
    /// \param size    bytes of `buffer`, including the terminator
    ReplyText(char* buffer, std::size_t size) : mBuffer(buffer), mSize(size) { mBuffer[0] = '\0'; }

    /// Appends a piece.
    /// \return false when it had to be cut
    [[gnu::format(printf, 2, 3)]] bool Add(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const int wanted = std::vsnprintf(mBuffer + mLength, mSize - mLength, format, arguments);
        va_end(arguments);
        if (wanted < 0) return false;
        const bool whole = static_cast<std::size_t>(wanted) <= Left();
        mLength = whole ? mLength + static_cast<std::size_t>(wanted) : mSize - 1;
        return whole;
    }

    /// Truncates the text to an earlier length, as to drop a cut piece. REQUIRES: `length` <= Length().
    void CutTo(std::size_t length) {
        mLength = length;
        mBuffer[mLength] = '\0';
    }

    /// \return characters so far, and those that still fit
    std::size_t Length() const { return mLength; }
    std::size_t Left() const { return mSize - 1 - mLength; }

 private:
    char* mBuffer;
    std::size_t mSize;
    std::size_t mLength = 0;
};

/// Copies text into a field, truncated to fit and always terminated.
template <std::size_t Size>
void CopyText(char (&field)[Size], const char* text) {
    const std::size_t length = strnlen(text, Size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}
