/// Numbers and fields of the command text.
#pragma once

/// Value of a hexadecimal text, read from its last character backwards. Characters that aren't digits are skipped
/// and take up no place, so blanks and line ends do no harm; the eight lowest digits count.
/// \return 0 for a text without digits
unsigned int hatoi(const char* hexstr);

/// Next field of a text cut at one delimiter; an empty field is told apart, unlike with strtok.
/// The position is kept between calls: the command thread is the only user.
/// \param s      the text, cut in place; null goes on behind the last field
/// \param delim  its first character is the delimiter
/// \return the field; null for an empty field, for a field of over 1024 characters, which ends the scan, and at the end
char* mystrtok(char* s, const char* delim);

/// Value of a decimal text in the manner of atoi, held within the range of int.
int Decimal(const char* text);
