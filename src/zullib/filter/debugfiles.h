#pragma once

#include <cstdio>

/// Debug files: the filter's input in place of the tuner's, the streams' output in place of the network.
/// Guarded by the filter's lock.
extern FILE* dbg_file_in;
extern FILE* dbg_file_out;
