// The multiple string structure.
#include "psip/multiplestring.h"
#include "target.h"

void fuzz::Strings(Input& input, unsigned /*flags*/) {
    const Block structure = input.Rest();
    int length = -1;
    std::uint8_t mode = 0;
    const char* const text = MultipleStringStructure(structure, &length, &mode);
    Promise(length >= 0 && length <= kMaxText && text[length] == '\0', "a text is terminated, and within its limit");
}
