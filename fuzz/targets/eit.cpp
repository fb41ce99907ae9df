// The Event Information Table, with the titles' texts.
#include "board.h"

void fuzz::Eit(Input& input, unsigned flags) { EnterTable(input, flags, {0xCB}, kGuidePid); }
