// Answers of the browser's controller to a status query, and texts for it.
#include "playback/browsercontrol.h"
#include "world.h"

void fuzz::Browser(Input& input, unsigned flags) {
    TheMeanwhile().browserAnswer = input.Rest();
    if ((flags & 1) == 0) {
        sendMessgageToKonqueror(1, "-a");
    } else {
        sendMessgageToKonqueror(1, Text(TheMeanwhile().browserAnswer).data());
    }
}
