// The Extended Text Table.
#include "board.h"

void fuzz::Ett(Input& input, unsigned flags) { EnterTable(input, flags, {0xCC}, kGuidePid); }
