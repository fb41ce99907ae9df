/// The module's version numbers.
#pragma once

/// As reported in replies, the beacon and the first log line.
int version_get_major();
int version_get_minor();
int version_get_build();
