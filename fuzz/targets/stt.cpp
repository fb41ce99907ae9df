// The System Time Table.
#include "board.h"

void fuzz::Stt(Input& input, unsigned flags) { EnterTable(input, flags, {0xCD}, kPsipBasePid); }
