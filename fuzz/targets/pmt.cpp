// The Program Map Table with its descriptors.
#include "board.h"

void fuzz::Pmt(Input& input, unsigned flags) { EnterTable(input, flags, {0x02}, kPmtPid); }
