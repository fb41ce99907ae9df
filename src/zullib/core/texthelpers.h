/// Numbers and fields of the command text.
#pragma once

#include <string.h>

#include <utility>

/// Value of a hexadecimal text, read from its last character backwards. Other characters, such as blanks and line
/// ends, are skipped; the eight lowest digits count.
/// \return 0 for a text without digits
unsigned int hatoi(const char* hexstr);

/// Next field of a text cut at one delimiter; unlike strtok, it reports empty fields.
/// The position is static: only the command thread may call this.
/// \param s      the text, cut in place; null continues after the last field
/// \param delim  its first character is the delimiter
/// \return the field; null for an empty field, for a field of over 1024 characters, which ends the scan, and at the end
char* mystrtok(char* s, const char* delim);

/// Value of a decimal text in the manner of atoi, clamped to the range of int.
int Decimal(const char* text);

/// Fields of a text, cut in place at commas. Consecutive commas count as one.
class CommaFields {
 public:
    explicit CommaFields(char* text) : mText(text) {}

    /// \return the next field, or null after the last
    char* Next() { return strtok_r(std::exchange(mText, nullptr), ",", &mPosition); }

    /// \return text after the last field and its comma. REQUIRES: Next() was called
    const char* Rest() const { return mPosition; }

 private:
    char* mText;  ///< null after the first field
    char* mPosition = nullptr;
};
