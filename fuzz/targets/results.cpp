// The results file of the scan.
#include <cstdio>

#include "guide/tunermanager.h"
#include "world.h"

void fuzz::Results(Input& input, unsigned /*flags*/) {
    WriteFile("/mnt/hd1/zul_scan_results", input.Rest());
    TunerManager tuner('T');
    tuner.LoadScanResults();
    std::vector<char> line(256);
    for (int size; (size = tuner.GetNextProgramScalFormatted(line.data(), line.size())) > 0;) {
        Promise(size < static_cast<int>(line.size()), "a SCAL line fits");
    }
    FILE* const nowhere = std::fopen("/mnt/hd1/zul_saved", "w");
    tuner.Store().VisitAll([&](const ScalProgramDesc& programme) { programme.SaveToFile(nowhere); });
    std::fclose(nowhere);
}
