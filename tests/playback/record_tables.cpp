// Every record by its fields, and the tables made from them.
#include "playback/record_tables.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <typeinfo>

#include "bridges/keytable.h"
#include "kbl_interprocess.h"
#include "playback/playeroptions.h"
#include "snmplocal.h"

namespace {

template <typename Type>
std::string TypeName() {
    if constexpr (std::is_array_v<Type>) {
        std::string name =
            TypeName<std::remove_all_extents_t<Type>>() + "[" + std::to_string(std::extent_v<Type>) + "]";
        if constexpr (std::rank_v<Type> == 2) name += "[" + std::to_string(std::extent_v<Type, 1>) + "]";
        return name;
    } else if constexpr (std::is_same_v<Type, std::int32_t>) {
        return "int";
    } else if constexpr (std::is_same_v<Type, std::uint32_t>) {
        return "unsigned";
    } else if constexpr (std::is_same_v<Type, std::uint8_t>) {
        return "byte";
    } else {
        char* const text = abi::__cxa_demangle(typeid(Type).name(), nullptr, nullptr, nullptr);
        std::string name = text;
        std::free(text);
        return name;
    }
}

struct FieldRow {
    const char* name;
    std::size_t offset;
    std::size_t size;
    std::string (*type)();
};

constexpr std::size_t kMostFields = 20;

struct RecordRow {
    const char* name;
    const char* what;
    std::size_t size;
    FieldRow fields[kMostFields];  ///< up to the first without a name

    constexpr std::span<const FieldRow> Fields() const {
        std::size_t count = 0;
        while (count < kMostFields && fields[count].name != nullptr) ++count;
        return {fields, count};
    }
};

// RECORD(record, what, field...): the row of a record, each of its fields a FieldRow.
#define ONCE_MORE ()
#define TIMES_4(...) TIMES_3(TIMES_3(TIMES_3(__VA_ARGS__)))
#define TIMES_3(...) TIMES_2(TIMES_2(TIMES_2(__VA_ARGS__)))
#define TIMES_2(...) TIMES_1(TIMES_1(TIMES_1(__VA_ARGS__)))
#define TIMES_1(...) __VA_ARGS__
#define FIELDS(record, field, ...)                                                               \
    {#field, offsetof(record, field), sizeof(record::field), TypeName<decltype(record::field)>}, \
        __VA_OPT__(MORE_FIELDS ONCE_MORE(record, __VA_ARGS__))
#define MORE_FIELDS() FIELDS
#define RECORD(record, what, ...)                                               \
    {                                                                           \
#record, what, sizeof(record), { TIMES_4(FIELDS(record, __VA_ARGS__)) } \
    }

// clang-format off
constexpr RecordRow kOrders[] = {
    RECORD(s_MSG_BUF, "the message; a record's bytes from 4 on stand in `buf`", type, cmmdId, buf),
    RECORD(sKBL_CTL_MSG, "any order; `cmmd` of the union", cmmdId, cmmdParam),
    RECORD(sKBL_LAYER_INFO, "place of a layer in percent of the screen, alpha 0 to 255; `layer` of the union",
           cmmdId, centerX, centerY, width, height, alpha, asp, xyMode),
    RECORD(sKBL_VIDEO_INFO, "for a stream, programme and audio PID in the upper 16 bits of `vType` and `aType`",
           vType, vSysType, aType, aSampFreq, videoPID, audioPID),
    RECORD(sSTART_STREAM_DISPLAY, "a stream; 0x1000000 in `portNo` for RTP; `streamStart`, `nextStream`",
           cmmdId, portNo, addr, durSec, dispParam, videoInfo, iType),
    RECORD(sSTART_FILE_PLAY, "a file, picture or page (`mType` 2); `fileStart`, `fileNext`, `browser`",
           cmmdId, repeatCnt, durSec, mType, dispParam, videoInfo, iType, fileName),
    RECORD(sSTART_TUNER_CHANNEL, "a channel; `tunerStart`, `tunerNext`",
           cmmdId, repeatCnt, durSec, channelNo, subChannelNo, dispParam, videoInfo, iType),
    RECORD(sSTART_IMAGE_DISPLAY, "built-in pictures; `imageStart`", cmmdId, pic1Id, pic2Id, pic3Id, durSec),
    RECORD(sKBL_PLAYER_CTL, "`ePLAYER_CTL`: 0 unmute, 1 mute, 2 volume, 3 play, 4 stop, 5 pause, 6 forward, 7 rewind, 8 slow, "
           "9 fast; of `-res` the index; `playerCtl`", cmmdId, playerCmmd, param),
    RECORD(sHWC_MSG_DISPLAY, "a text of 12 characters without a terminator; `hwcMsg`", cmmdId, hwcMsg, duration, position),
    RECORD(sTUNER_SCAN_MSG, "0 stop, 1 start; `scanCmmd`", cmmdId, subCmmdId, param),
    RECORD(sSAPP_CMMD_MSG, "numbers, also as `sCMMD_DBG`; `sapp`, `dbg`", cmmdId, param),
    RECORD(sSTOP_DISPLAY, "not sent; `stop`", cmmdId),
    RECORD(sCMD_ONLY, "not sent; `cmmdOnly`", cmmdId),
    RECORD(sIMAGE_OPTION, "not sent; `imageOpt`", cmmdId, flip_int, delay_till_flip),
    RECORD(sPLAY_INTERNAL_IMAGE, "not sent; `internalImage`", cmmdId, imageId),
    RECORD(sKBL_PLAYER_CHANGES, "not sent; `playerChange`", cmmdId, volChange, curVol, muteChange, curMute),
    RECORD(sDEINTERLACE_MSG, "not sent; `deinterlace`", type, enable, mode, val),
    RECORD(sCFG_MSG, "not sent, `pCfg` is a pointer of the board; `cfgMsg`",
           cmmdId, updateId, pCfg, ptcVersion, hwVersion, monType, defaultRes, macAddr),
    RECORD(sCHANNEL_START, "not sent; `chStart`", cmmdId, channelId),
    RECORD(sPLAYER_SETTING, "not sent; `setting`", cmmdId, tvRes, aType, aFreq, vType, vSysType, vForceSD, avPID),
    RECORD(sFRAME_CT, "not sent; `frameCount`", cmmdId, frameCt, reserve),
    RECORD(sOSD_ACTION, "not sent; `osdAction`", cmmdId, action, param),
    RECORD(sLAYERING_CTL, "not sent; `layerCtl`", cmmdId, subCmdId, param),
    RECORD(sCOLOR_SETTING, "not sent; `colorSetting`", cmmdId, brightness, color, contrast, tint),
    RECORD(sSIZE_ADJ_SETTING, "not sent; `sizeAdjSetting`", cmmdId, adjWidth, adjX, adjHeight, adjY),
    RECORD(sTUNER_CHANNEL_STATUS, "not sent; `chanStatus`", cmmdId, channelId, subChanCnt, signalStrength, param),
};

constexpr RecordRow kStatusBlock[] = {
    RECORD(sVPLAYER_SM_STRUCT, "the block", osdInfo, vStatus),
    RECORD(sVPLAYER_OSD_INFO, "`irSystemCode` is written: the remote's code, its complement above it",
           irFd, ip, stream, demo, dhcp, macAddr, colorProfile, browserState, durSec, redirectIR, menuKey, menuActive, menuUsrId,
           vOsdCx, vOsdCy, vOsdWidth, vOsdHeight, irSetting, irSystemCode),
    RECORD(sKBL_VPLAYER_STATUS, "`tunerSignalStrength` (0 to 5), `progId`, `vidType` and `audType` are read",
           layerCnt, frameCnt, layer, tunerSignalStrength, progId, vidType, audType, sigLock, audStatus, ccStatus),
    RECORD(sIP_CFG, "one form of `sIP_CONFIG`; the other, `sIP_STRING`, has the same five texts as an array",
           ip, mask, gateway, dns1, dns2),
    RECORD(sSTREAM_IP_CONFIG, "addresses of streams", curId, addr),
    RECORD(sDEMO, "an address", dlAddr),
    RECORD(sVPLAYER_LAYER_STATUS, "a layer", status, item),
};

constexpr RecordRow kOthers[] = {
    RECORD(sMSG_CMD_FORMAT, "status request of the browser (71, 31561, 2), and its answer with the status in `param[1]`",
           cmmdId, param),
    RECORD(KeyDatagram, "UDP: a key on its way to the master", remoteStr, remoteId, length, systemCode, key, repeat, crc),
};
// clang-format on

/// No field of a record is left out: each begins where the one before it ends, but for the alignment of 32-bit words.
constexpr bool IsWhole(const RecordRow& record) {
    std::size_t end = 0;
    for (const FieldRow& field : record.Fields()) {
        if (field.offset != end && field.offset != (end + 3) / 4 * 4) return false;
        end = field.offset + field.size;
    }
    return record.size == end || record.size == (end + 3) / 4 * 4;
}
static_assert(std::all_of(std::begin(kOrders), std::end(kOrders), IsWhole));
static_assert(std::all_of(std::begin(kStatusBlock), std::end(kStatusBlock), IsWhole));
static_assert(std::all_of(std::begin(kOthers), std::end(kOthers), IsWhole));

/// \return the record that an order's bytes belong to
const char* RecordOf(std::int32_t order) {
    switch (order) {
        case START_IMAGE_DISPLAY: return "`sSTART_IMAGE_DISPLAY`";
        case START_STREAM_DISPLAY: return "`sSTART_STREAM_DISPLAY`";
        case BROWSER_START:
        case BROWSER_NEXT:
        case START_VIDEO_PLAY:
        case START_PICTURE_PLAY:
        case VIDEO_NEXT:
        case PICTURE_NEXT: return "`sSTART_FILE_PLAY`";
        case SET_RESOLUTION:
        case PLAYER_CTL: return "`sKBL_PLAYER_CTL`";
        case OSD_LAYER:
        case VIDEO_LAYER:
        case BROWSER_LAYER: return "`sKBL_LAYER_INFO`";
        case DEBUG_CMMD:
        case DEVICE_REMOUNT_REQ: return "`sSAPP_CMMD_MSG`";
        case START_TUNER_CHANNEL: return "`sSTART_TUNER_CHANNEL`";
        case HWC_DISPLAY: return "`sHWC_MSG_DISPLAY`";
        case TUNER_SCAN: return "`sTUNER_SCAN_MSG`";
        default: return "";
    }
}

std::string OptionTable() {
    std::string text = "| Option | Queue | Type | `cmmdId` | Record | Length |\n|---|---|---|---|---|---|\n";
    for (const PlayerOption& option : PlayerOptions()) {
        if (option.cmmdId == kNoOrder) continue;
        const bool named = std::any_of(option.words.begin(), option.words.end(),
                                       [](const OptionWord& word) { return word.kind == Kind::kName; });
        text += "| `" + std::string(option.word) + "` | " + std::to_string(option.to.key) + " | " +
                std::to_string(option.to.type) + " | " + std::to_string(option.cmmdId) + " | " +
                RecordOf(option.cmmdId) + " | " + std::to_string(option.size + 8) + (named ? " + name" : "") + " |\n";
    }
    return text;
}

/// The settings that the module asks for.
std::string SettingsTable() {
    std::string text = "| Setting | Type | OID |\n|---|---|---|\n";
    for (const QvanSetting setting :
         {QVAN_VERSION, CURRENT_ITEM_BEING_PLAYED, IP_ADDRESS, IP_MASK, IP_GATEWAY, DHCP_ENABLE, NETWORK_COMMIT,
          MULTIPLE_UPGRADE, VIDEO_RESOLUTION, SERIAL_PARAMETERS, IR_CONTROL, CONFIG_SAVE, REBOOT, TUNER_MODE,
          CLOSE_CAPTION, NETWORK_BUFFER_SIZE}) {
        const QvanSettingsType& row = qvanSettings[setting];
        text += "| `" + std::string(row.field_name) + "` | " + row.type + " | " + row.snmp_cmd + " |\n";
    }
    return text;
}

std::string Table(std::span<const RecordRow> records) {
    std::string text;
    for (const RecordRow& record : records) {
        text += "\n`" + std::string(record.name) + "`, " + std::to_string(record.size) + " bytes: " + record.what +
                "\n\n| Offset | Size | Field | Type |\n|---|---|---|---|\n";
        for (const FieldRow& field : record.Fields()) {
            text += "| " + std::to_string(field.offset) + " | " + std::to_string(field.size) + " | `" + field.name +
                    "` | " + field.type() + " |\n";
        }
    }
    return text;
}

}  // namespace

std::string RecordTables() {
    return "\n### The player's orders\n\nThe length is that of the message's text: `cmmdId`, bytes of the record from "
           "4 on, and "
           "four zero bytes.\n\n" +
           OptionTable() + "\n### Records of the player's queue\n" + Table(kOrders) +
           "\n### Status block, at byte 24576 of the segment\n" + Table(kStatusBlock) +
           "\n### Browser controller and keys\n" + Table(kOthers) + "\n### Settings\n\nThe type is that of a set: an integer, an address, a text.\n\n" +
           SettingsTable() + "\n";
}

std::string WithRecordTables(const std::string& document) {
    const std::size_t begin = document.find(kTablesBegin);
    const std::size_t end = document.find(kTablesEnd);
    if (begin == std::string::npos || end == std::string::npos || end < begin) return "";
    return document.substr(0, begin) + kTablesBegin + RecordTables() + document.substr(end);
}
