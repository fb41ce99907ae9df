// The decoders of compressed texts.
#include "psip/multiplestring.h"
#include "target.h"

/// \param flags  the decoder: C.5, C.7, the codes of 128 and of 255 characters
void fuzz::Huffman(Input& input, unsigned flags) {
    const unsigned decoder = flags % 4;
    const std::uint32_t room = input.Byte() * 4u;
    const Block coded = input.Rest();
    std::uint32_t size = 0;
    if (decoder >= 2) {
        const char* const text = atsc_huffman2_to_string(coded, &size, decoder == 2 ? 1 : 2);
        Promise(size >= 1 && size <= 1024 && text[size - 1] == '\0', "a decoded text is terminated");
        return;
    }
    std::vector<char> text(room + 1);
    atsc_huffman1_to_string(coded, text.data(), room, &size, decoder + 1);
    Promise(size >= 1 && size <= room + 1 && text[size - 1] == '\0', "a decoded text is terminated and fits");
}
