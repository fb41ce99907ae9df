// URL and VSCALE: pages on the browser layer, keys for it, and the place of the layers.
#include <strings.h>

#include <cstdio>
#include <cstring>

#include "bridges/ircontrol.h"
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "playback/browsercontrol.h"
#include "playback/m710cmmd.h"

namespace {

constexpr const char* kBlankPage = "/mnt/hd1/bplayer_app/data/blankPage.html";
constexpr std::size_t kUrlSize = 1024;
constexpr int kPlaneWidth = 1280;  ///< pixels of the plane in which the window is told
constexpr int kPlaneHeight = 768;
constexpr int kLastKey = 65534;
constexpr int kOpaque = 255;

/// A number of a command's field, and its range.
struct RangedField {
    int* value;
    int first, last;

    bool Holds(int number) const { return number >= first && number <= last; }
};

}  // namespace

/// URL: shows a page; fields that are empty or out of range keep their stored value. "URLkey" gives the browser a key.
/// \param cmd  "URL", then url, x, y, width, height, alpha of the browser, alpha of the video, separated by commas
char* CommandManager::ProcessUrlSet(char* cmd) {
    if (mMyType != 'R') {
        PANIC("Rx only");
        return mKo;
    }
    if (strncasecmp(cmd + 3, "key", 3) == 0) return SendBrowserKey(Decimal(cmd + 6));
    const char* const url = mystrtok(cmd + 3, ",");
    const RangedField fields[] = {
        {&mUrlXposition, -kPlaneWidth, kPlaneWidth},
        {&mUrlYposition, -kPlaneHeight, kPlaneHeight},
        {&mUrlWidth, 0, kPlaneWidth},
        {&mUrlHeight, 0, kPlaneHeight},
        {&mUrlAlphaBrowser, 0, kOpaque},
        {&mUrlAlphaVideo, 0, kOpaque},
    };
    for (const RangedField& field : fields) {
        const char* const text = mystrtok(nullptr, ",");
        if (text != nullptr && field.Holds(Decimal(text))) *field.value = Decimal(text);
    }
    if (url != nullptr && std::strncmp(url, mUrl.get(), kUrlSize) != 0) {
        const bool blank = url[0] == '0' || std::strcmp(url, "blank") == 0;
        std::snprintf(mUrl.get(), kUrlSize, "%s", blank ? kBlankPage : url);
    }
    ShowPage();
    mBrowserUp = mUrlAlphaBrowser > 0 && mUrlAlphaVideo < kOpaque;
    if (mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mBrowserUp ? 0 : mCCIndex) == nullptr) {
        PANIC("close caption play");
        return mKo;
    }
    mpIrControl->BrowserRunning(mBrowserUp);
    LOG("Done with URL command");
    return mOk;
}

char* CommandManager::SendBrowserKey(int key) {
    if (key < 0 || key > kLastKey) return mKo;
    char text[16];
    std::snprintf(text, sizeof text, "-k%d", key);
    sendMessgageToKonqueror(1, text);
    return mOk;
}

/// Shows the stored page in the stored window. Each term of the window is cut to a whole percent by itself.
void CommandManager::ShowPage() {
    static char line[1152];
    const int centreX = mUrlXposition * 100 / kPlaneWidth + mUrlWidth * 50 / kPlaneWidth;
    const int centreY = mUrlYposition * 100 / kPlaneHeight + mUrlHeight * 50 / kPlaneHeight;
    const int width = mUrlWidth * 100 / kPlaneWidth;
    const int height = mUrlHeight * 100 / kPlaneHeight;
    std::snprintf(line, sizeof line,
                  "-ps 50 50 100 100 0 %d 0 -vs 50 50 100 100 0 %d 0 -browser %s 0 %d %d %d %d 0 %d 0 ", mUrlAlphaVideo,
                  mUrlAlphaVideo, mUrl.get(), centreX, centreY, width, height, mUrlAlphaBrowser);
    m710cmmd(line);
}

/// VSCALE: places the video and the browser layer together.
/// \param cmd  the keyword, then x, y, width, height in percent and alpha, separated by commas
/// \return mKo for a value out of its range, with nothing sent
char* CommandManager::ProcessVscaleCommand(char* cmd, int /*len*/) {
    static char line[128];
    int x = 50, y = 50, w = 100, h = 100, alpha = kOpaque;
    const RangedField fields[] = {{&x, 0, 100}, {&y, 0, 100}, {&w, 0, 100}, {&h, 0, 100}, {&alpha, 0, kOpaque}};
    char* position = nullptr;
    strtok_r(cmd, ",", &position);
    for (const RangedField& field : fields) {
        const char* const text = strtok_r(nullptr, ",", &position);
        if (text == nullptr) break;
        *field.value = Decimal(text);
        if (!field.Holds(*field.value)) return mKo;
    }
    const int centreX = x + w / 2;
    const int centreY = y + h / 2;
    std::snprintf(line, sizeof line, "-ps %d %d %d %d 0 %d 0 -vs %d %d %d %d 0 %d 0", centreX, centreY, w, h, alpha,
                  centreX, centreY, w, h, alpha);
    m710cmmd(line);
    return mOk;
}
