// record_tables [FILE]: prints the tables of the records, or makes them anew between their two lines of a document.
#include <fstream>
#include <iostream>
#include <sstream>

#include "playback/record_tables.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cout << RecordTables();
        return argc == 1 ? 0 : 2;
    }
    std::stringstream text;
    text << std::ifstream(argv[1]).rdbuf();
    const std::string document = WithRecordTables(text.str());
    if (document.empty()) {
        std::cerr << argv[1] << ": not there, or without the two lines that the tables stand between\n";
        return 1;
    }
    return std::ofstream(argv[1]) << document ? 0 : 1;
}
