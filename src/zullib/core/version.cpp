// The module's version.
#include "core/version.h"

#include "zul_version.h"

int version_get_major() { return ZUL_VERSION_MAJOR; }
int version_get_minor() { return ZUL_VERSION_MINOR; }
int version_get_build() { return ZUL_VERSION_PATCH; }
