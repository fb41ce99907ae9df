// URL and VSCALE: pages on the browser layer, keys for the browser, and the position of the layers.
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
constexpr int kPlaneWidth = 1280;  ///< pixels of the plane that holds the window
constexpr int kPlaneHeight = 768;
constexpr int kLastKey = 65534;
constexpr int kOpaque = 255;

/// A numeric field of a command, and its range.
struct RangedField {
    int* value;
    int first, last;

    bool Holds(int number) const { return number >= first && number <= last; }
};

}  // namespace

/// URL: shows a page; fields that are empty or out of range keep their stored value. "URLkey" sends the browser a key.
/// \param request  url, x, y, width, height, alpha of the browser, alpha of the video, separated by commas
char* CommandManager::ProcessUrlSet(Request request) {
    if (strncasecmp(request.text, "key", 3) == 0) return SendBrowserKey(Decimal(request.text + 3));
    const char* const url = mystrtok(request.text, ",");
    const RangedField fields[] = {
        {&mPage.mUrlXposition, -kPlaneWidth, kPlaneWidth},
        {&mPage.mUrlYposition, -kPlaneHeight, kPlaneHeight},
        {&mPage.mUrlWidth, 0, kPlaneWidth},
        {&mPage.mUrlHeight, 0, kPlaneHeight},
        {&mPage.mUrlAlphaBrowser, 0, kOpaque},
        {&mPage.mUrlAlphaVideo, 0, kOpaque},
    };
    for (const RangedField& field : fields) {
        const char* const text = mystrtok(nullptr, ",");
        if (text != nullptr && field.Holds(Decimal(text))) *field.value = Decimal(text);
    }
    if (url != nullptr && std::strncmp(url, mPage.mUrl, sizeof mPage.mUrl) != 0) {
        const bool blank = url[0] == '0' || std::strcmp(url, "blank") == 0;
        std::snprintf(mPage.mUrl, sizeof mPage.mUrl, "%s", blank ? kBlankPage : url);
    }
    ShowPage();
    mPage.mBrowserUp = mPage.mUrlAlphaBrowser > 0 && mPage.mUrlAlphaVideo < kOpaque;
    if (mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mPage.mBrowserUp ? 0 : mPlayback.mCCIndex) == nullptr) {
        PANIC("close caption play");
        return mKo;
    }
    mpIrControl->BrowserRunning(mPage.mBrowserUp);
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

/// Shows the stored page in the stored window. Each term of the window is rounded down separately.
void CommandManager::ShowPage() {
    char line[1152];
    const int centreX = mPage.mUrlXposition * 100 / kPlaneWidth + mPage.mUrlWidth * 50 / kPlaneWidth;
    const int centreY = mPage.mUrlYposition * 100 / kPlaneHeight + mPage.mUrlHeight * 50 / kPlaneHeight;
    const int width = mPage.mUrlWidth * 100 / kPlaneWidth;
    const int height = mPage.mUrlHeight * 100 / kPlaneHeight;
    std::snprintf(line, sizeof line,
                  "-ps 50 50 100 100 0 %d 0 -vs 50 50 100 100 0 %d 0 -browser %s 0 %d %d %d %d 0 %d 0 ",
                  mPage.mUrlAlphaVideo, mPage.mUrlAlphaVideo, mPage.mUrl, centreX, centreY, width, height,
                  mPage.mUrlAlphaBrowser);
    m710cmmd(line);
}

/// VSCALE: places the video and the browser layer together.
/// \param request  the keyword, then x, y, width, height in percent and alpha, separated by commas
/// \return mKo for a value out of its range; nothing is sent then
char* CommandManager::ProcessVscaleCommand(Request request) {
    char line[128];
    int x = 50, y = 50, w = 100, h = 100, alpha = kOpaque;
    const RangedField ranges[] = {{&x, 0, 100}, {&y, 0, 100}, {&w, 0, 100}, {&h, 0, 100}, {&alpha, 0, kOpaque}};
    CommaFields fields(request.text);
    fields.Next();
    for (const RangedField& field : ranges) {
        const char* const text = fields.Next();
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
