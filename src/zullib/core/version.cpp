// The module's version.
#include "core/version.h"

int version_get_major() { return 0; }
int version_get_minor() { return 82; }
int version_get_build() { return 14; }
