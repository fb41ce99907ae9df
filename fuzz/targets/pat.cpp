// The Program Association Table, and the streams' own.
#include "board.h"

void fuzz::Pat(Input& input, unsigned flags) { EnterTable(input, flags, {0x00}, kPatPid); }
