/// The version of the module.
#pragma once

/// Its numbers, as replies, the beacon and the first log line give them.
int version_get_major();
int version_get_minor();
int version_get_build();
