/// The records that the module shares with the board's other processes, as Markdown made from their structs.
#pragma once

#include <string>

/// A text between these two lines of the integration guide is made, and not written by hand.
inline constexpr const char* kTablesBegin = "<!-- tables of the records: made by tests/playback/record_tables -->\n";
inline constexpr const char* kTablesEnd = "<!-- end of the tables of the records -->\n";

/// \return the tables of the player's options, of every record and of the status block
std::string RecordTables();

/// \return a document with the tables between its two lines made anew; empty when it lacks the lines
std::string WithRecordTables(const std::string& document);
