// The Master Guide Table.
#include "board.h"

void fuzz::Mgt(Input& input, unsigned flags) { EnterTable(input, flags, {0xC7}, kPsipBasePid); }
