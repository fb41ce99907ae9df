// The files read at start-up: the tuner's mode up to a line end, then the start-up item.
#include "manager.h"

void fuzz::Startup(Input& input, unsigned flags) {
    WriteFile("/mnt/hd1/zul_tunermode", input.TakeTo('\n'));
    WriteFile("/mnt/hd1/zul_def_startup", input.Rest());
    Manager manager(flags);
    manager.Boot();
    manager.Serve({'S', 'T', 'A', 'T', 'U', 'S'});
}
