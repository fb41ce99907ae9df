// The Virtual Channel Tables.
#include "board.h"

void fuzz::Vct(Input& input, unsigned flags) { EnterTable(input, flags, {0xC8, 0xC9}, kPsipBasePid); }
