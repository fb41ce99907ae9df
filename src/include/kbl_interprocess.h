/// Formats shared with the board's other processes: the player's status block in shared memory, the records of its
/// command queue, and those of the browser's controller. All integers are 32 bits wide and native; sizes and offsets
/// hold on every machine. The first member of each record is at offset 0.
#pragma once

#include <cstddef>
#include <cstdint>

// clang-format off

// The shared status block: segment of key 2000, the struct at its offset 24576.

struct sIP_CFG { char ip[16], mask[16], gateway[16], dns1[16], dns2[16]; };
static_assert(sizeof(sIP_CFG) == 80 && offsetof(sIP_CFG, mask) == 16 && offsetof(sIP_CFG, gateway) == 32 &&
              offsetof(sIP_CFG, dns1) == 48 && offsetof(sIP_CFG, dns2) == 64);

struct sIP_STRING { char ipStr[5][16]; };

union sIP_CONFIG { sIP_CFG ipCfg; sIP_STRING ipString; };
static_assert(sizeof(sIP_CONFIG) == 80);

struct sSTREAM_IP_CONFIG { std::uint32_t curId; char addr[10][36]; };
static_assert(sizeof(sSTREAM_IP_CONFIG) == 364 && offsetof(sSTREAM_IP_CONFIG, addr) == 4);

struct sDEMO { char dlAddr[128]; };
static_assert(sizeof(sDEMO) == 128);

struct sVPLAYER_LAYER_STATUS { std::int32_t status; char item[256]; };
static_assert(sizeof(sVPLAYER_LAYER_STATUS) == 260 && offsetof(sVPLAYER_LAYER_STATUS, item) == 4);

/// The player's on-screen display, and the remote control's code.
struct sVPLAYER_OSD_INFO {
    std::int32_t      irFd;
    sIP_CONFIG        ip;
    sSTREAM_IP_CONFIG stream;
    sDEMO             demo;
    std::int32_t      dhcp;
    std::uint8_t      macAddr[6];
    std::int32_t      colorProfile;
    std::int32_t      browserState;
    std::uint32_t     durSec;
    std::int32_t      redirectIR;
    std::int32_t      menuKey;
    std::int32_t      menuActive;
    std::int32_t      menuUsrId;
    std::uint32_t     vOsdCx;
    std::uint32_t     vOsdCy;
    std::uint32_t     vOsdWidth;
    std::uint32_t     vOsdHeight;
    std::int32_t      irSetting;
    std::uint32_t     irSystemCode;  ///< the code of the remote, with its complement in the second byte
};
static_assert(sizeof(sVPLAYER_OSD_INFO) == 640 && offsetof(sVPLAYER_OSD_INFO, irFd) == 0 &&
              offsetof(sVPLAYER_OSD_INFO, ip) == 4 && offsetof(sVPLAYER_OSD_INFO, stream) == 84 &&
              offsetof(sVPLAYER_OSD_INFO, demo) == 448 && offsetof(sVPLAYER_OSD_INFO, dhcp) == 576 &&
              offsetof(sVPLAYER_OSD_INFO, macAddr) == 580 && offsetof(sVPLAYER_OSD_INFO, colorProfile) == 588 &&
              offsetof(sVPLAYER_OSD_INFO, browserState) == 592 && offsetof(sVPLAYER_OSD_INFO, durSec) == 596 &&
              offsetof(sVPLAYER_OSD_INFO, redirectIR) == 600 && offsetof(sVPLAYER_OSD_INFO, menuKey) == 604 &&
              offsetof(sVPLAYER_OSD_INFO, menuActive) == 608 && offsetof(sVPLAYER_OSD_INFO, menuUsrId) == 612 &&
              offsetof(sVPLAYER_OSD_INFO, vOsdCx) == 616 && offsetof(sVPLAYER_OSD_INFO, vOsdCy) == 620 &&
              offsetof(sVPLAYER_OSD_INFO, vOsdWidth) == 624 && offsetof(sVPLAYER_OSD_INFO, vOsdHeight) == 628 &&
              offsetof(sVPLAYER_OSD_INFO, irSetting) == 632 && offsetof(sVPLAYER_OSD_INFO, irSystemCode) == 636);

/// What the player plays.
struct sKBL_VPLAYER_STATUS {
    std::int32_t          layerCnt;
    std::uint32_t         frameCnt;
    sVPLAYER_LAYER_STATUS layer[2];
    std::int32_t          tunerSignalStrength;  ///< 0 to 5
    std::uint32_t         progId;
    std::uint32_t         vidType;
    std::uint32_t         audType;
    std::int32_t          sigLock;
    std::int32_t          audStatus;
    std::int32_t          ccStatus;
};
static_assert(sizeof(sKBL_VPLAYER_STATUS) == 556 && offsetof(sKBL_VPLAYER_STATUS, layerCnt) == 0 &&
              offsetof(sKBL_VPLAYER_STATUS, frameCnt) == 4 && offsetof(sKBL_VPLAYER_STATUS, layer) == 8 &&
              offsetof(sKBL_VPLAYER_STATUS, tunerSignalStrength) == 528 && offsetof(sKBL_VPLAYER_STATUS, progId) == 532 &&
              offsetof(sKBL_VPLAYER_STATUS, vidType) == 536 && offsetof(sKBL_VPLAYER_STATUS, audType) == 540 &&
              offsetof(sKBL_VPLAYER_STATUS, sigLock) == 544 && offsetof(sKBL_VPLAYER_STATUS, audStatus) == 548 &&
              offsetof(sKBL_VPLAYER_STATUS, ccStatus) == 552);

struct sVPLAYER_SM_STRUCT { sVPLAYER_OSD_INFO osdInfo; sKBL_VPLAYER_STATUS vStatus; };
static_assert(sizeof(sVPLAYER_SM_STRUCT) == 1196 && offsetof(sVPLAYER_SM_STRUCT, vStatus) == 640);

// Records of the player's command queue, key 1234. A record's cmmdId becomes the message's, its other bytes follow.

/// Numbers of the orders.
enum eKBL_COMMAND : std::int32_t {
    START_IMAGE_DISPLAY = 0, START_STREAM_DISPLAY = 1, STOP_IMAGE = 2, SET_RESOLUTION = 8, BROWSER_START = 9,
    BROWSER_NEXT = 10, BROWSER_STOP = 11, STOP_VIDEO = 27, START_VIDEO_PLAY = 29, START_PICTURE_PLAY = 30, STOP_ALL = 33,
    PLAYER_CTL = 34, COLOR_BAR = 37, OSD_START = 45, OSD_STOP = 46, VIDEO_NEXT = 47, PICTURE_NEXT = 49, OSD_LAYER = 64,
    VIDEO_LAYER = 65, BROWSER_LAYER = 66, DEBUG_CMMD = 67, BROWSER_STATUS_REQ = 71, VPLAYER_STATUS = 72,
    DEVICE_REMOUNT_REQ = 73, DEVICE_REMOUNT_RES = 74, START_TUNER_CHANNEL = 106, HWC_DISPLAY = 114, TUNER_SCAN = 118,
};

/// Orders of `PLAYER_CTL`.
enum ePLAYER_CTL : std::int32_t {
    VOLUME_UNMUTED = 0, VOLUME_MUTED = 1, VOLUME_CHANGE = 2, PSM_PLAYING = 3, PSM_STOPPED = 4, PSM_PAUSED = 5,
    PSM_FORWARD = 6, PSM_REWIND = 7, PSM_SLOW_FORWARD = 8, PSM_FAST_FORWARD = 9,
};

/// Geometry and blending of one display layer, in percent of the screen; alpha 0 invisible to 255 opaque.
struct sKBL_LAYER_INFO { std::int32_t cmmdId, centerX, centerY, width, height, alpha, asp, xyMode; };
static_assert(sizeof(sKBL_LAYER_INFO) == 32 && offsetof(sKBL_LAYER_INFO, centerX) == 4 &&
              offsetof(sKBL_LAYER_INFO, centerY) == 8 && offsetof(sKBL_LAYER_INFO, width) == 12 &&
              offsetof(sKBL_LAYER_INFO, height) == 16 && offsetof(sKBL_LAYER_INFO, alpha) == 20 &&
              offsetof(sKBL_LAYER_INFO, asp) == 24 && offsetof(sKBL_LAYER_INFO, xyMode) == 28);

/// For a stream, programme number and audio PID are in the upper 16 bits of vType and aType.
struct sKBL_VIDEO_INFO { std::int32_t vType, vSysType, aType, aSampFreq, videoPID, audioPID; };
static_assert(sizeof(sKBL_VIDEO_INFO) == 24 && offsetof(sKBL_VIDEO_INFO, vSysType) == 4 &&
              offsetof(sKBL_VIDEO_INFO, aType) == 8 && offsetof(sKBL_VIDEO_INFO, aSampFreq) == 12 &&
              offsetof(sKBL_VIDEO_INFO, videoPID) == 16 && offsetof(sKBL_VIDEO_INFO, audioPID) == 20);

struct sSTART_STREAM_DISPLAY {
    std::int32_t    cmmdId;
    std::int32_t    portNo;  ///< UDP port; 0x1000000 is or-ed in for RTP
    char            addr[16];
    std::uint32_t   durSec;
    sKBL_LAYER_INFO dispParam;
    sKBL_VIDEO_INFO videoInfo;
    std::uint32_t   iType;
};
static_assert(sizeof(sSTART_STREAM_DISPLAY) == 88 && offsetof(sSTART_STREAM_DISPLAY, portNo) == 4 &&
              offsetof(sSTART_STREAM_DISPLAY, addr) == 8 && offsetof(sSTART_STREAM_DISPLAY, durSec) == 24 &&
              offsetof(sSTART_STREAM_DISPLAY, dispParam) == 28 && offsetof(sSTART_STREAM_DISPLAY, videoInfo) == 60 &&
              offsetof(sSTART_STREAM_DISPLAY, iType) == 84);

struct sSTART_FILE_PLAY {
    std::int32_t    cmmdId;
    std::uint32_t   repeatCnt;
    std::uint32_t   durSec;
    std::uint32_t   mType;  ///< 2 for browser items, else 0
    sKBL_LAYER_INFO dispParam;
    sKBL_VIDEO_INFO videoInfo;
    std::uint32_t   iType;
    char            fileName[256];  ///< path or URL, terminated
};
static_assert(sizeof(sSTART_FILE_PLAY) == 332 && offsetof(sSTART_FILE_PLAY, repeatCnt) == 4 &&
              offsetof(sSTART_FILE_PLAY, durSec) == 8 && offsetof(sSTART_FILE_PLAY, mType) == 12 &&
              offsetof(sSTART_FILE_PLAY, dispParam) == 16 && offsetof(sSTART_FILE_PLAY, videoInfo) == 48 &&
              offsetof(sSTART_FILE_PLAY, iType) == 72 && offsetof(sSTART_FILE_PLAY, fileName) == 76);
using sFILE_PLAY_NEXT = sSTART_FILE_PLAY;

struct sSTART_TUNER_CHANNEL {
    std::int32_t    cmmdId;
    std::uint32_t   repeatCnt;
    std::uint32_t   durSec;
    std::int32_t    channelNo;
    std::int32_t    subChannelNo;
    sKBL_LAYER_INFO dispParam;
    sKBL_VIDEO_INFO videoInfo;
    std::uint32_t   iType;
};
static_assert(sizeof(sSTART_TUNER_CHANNEL) == 80 && offsetof(sSTART_TUNER_CHANNEL, repeatCnt) == 4 &&
              offsetof(sSTART_TUNER_CHANNEL, durSec) == 8 && offsetof(sSTART_TUNER_CHANNEL, channelNo) == 12 &&
              offsetof(sSTART_TUNER_CHANNEL, subChannelNo) == 16 && offsetof(sSTART_TUNER_CHANNEL, dispParam) == 20 &&
              offsetof(sSTART_TUNER_CHANNEL, videoInfo) == 52 && offsetof(sSTART_TUNER_CHANNEL, iType) == 76);

struct sSTART_IMAGE_DISPLAY { std::int32_t cmmdId, pic1Id, pic2Id, pic3Id; std::uint32_t durSec; };
static_assert(sizeof(sSTART_IMAGE_DISPLAY) == 20 && offsetof(sSTART_IMAGE_DISPLAY, pic1Id) == 4 &&
              offsetof(sSTART_IMAGE_DISPLAY, pic2Id) == 8 && offsetof(sSTART_IMAGE_DISPLAY, pic3Id) == 12 &&
              offsetof(sSTART_IMAGE_DISPLAY, durSec) == 16);

struct sKBL_PLAYER_CTL { std::int32_t cmmdId, playerCmmd, param[94]; };
static_assert(sizeof(sKBL_PLAYER_CTL) == 384 && offsetof(sKBL_PLAYER_CTL, playerCmmd) == 4 &&
              offsetof(sKBL_PLAYER_CTL, param) == 8);

struct sHWC_MSG_DISPLAY { std::int32_t cmmdId; char hwcMsg[12]; std::uint32_t duration, position; };
static_assert(sizeof(sHWC_MSG_DISPLAY) == 24 && offsetof(sHWC_MSG_DISPLAY, hwcMsg) == 4 &&
              offsetof(sHWC_MSG_DISPLAY, duration) == 16 && offsetof(sHWC_MSG_DISPLAY, position) == 20);

struct sTUNER_SCAN_MSG { std::int32_t cmmdId, subCmmdId, param[8]; };
static_assert(sizeof(sTUNER_SCAN_MSG) == 40 && offsetof(sTUNER_SCAN_MSG, subCmmdId) == 4 &&
              offsetof(sTUNER_SCAN_MSG, param) == 8);

struct sSAPP_CMMD_MSG { std::int32_t cmmdId, param[95]; };
static_assert(sizeof(sSAPP_CMMD_MSG) == 384 && offsetof(sSAPP_CMMD_MSG, param) == 4);
using sCMMD_DBG = sSAPP_CMMD_MSG;

struct sKBL_CTL_MSG { std::int32_t cmmdId; char cmmdParam[380]; };
static_assert(sizeof(sKBL_CTL_MSG) == 384 && offsetof(sKBL_CTL_MSG, cmmdParam) == 4);

// Records that the module doesn't send; they are part of the format.

struct sSTOP_DISPLAY { std::int32_t cmmdId; };
static_assert(sizeof(sSTOP_DISPLAY) == 4);

struct sCMD_ONLY { std::int32_t cmmdId; };
static_assert(sizeof(sCMD_ONLY) == 4);

struct sIMAGE_OPTION { std::int32_t cmmdId, flip_int, delay_till_flip; };
static_assert(sizeof(sIMAGE_OPTION) == 12 && offsetof(sIMAGE_OPTION, flip_int) == 4 &&
              offsetof(sIMAGE_OPTION, delay_till_flip) == 8);

struct sPLAY_INTERNAL_IMAGE { std::int32_t cmmdId, imageId; };
static_assert(sizeof(sPLAY_INTERNAL_IMAGE) == 8 && offsetof(sPLAY_INTERNAL_IMAGE, imageId) == 4);

struct sKBL_PLAYER_CHANGES { std::int32_t cmmdId, volChange, curVol, muteChange, curMute; };
static_assert(sizeof(sKBL_PLAYER_CHANGES) == 20 && offsetof(sKBL_PLAYER_CHANGES, volChange) == 4 &&
              offsetof(sKBL_PLAYER_CHANGES, curVol) == 8 && offsetof(sKBL_PLAYER_CHANGES, muteChange) == 12 &&
              offsetof(sKBL_PLAYER_CHANGES, curMute) == 16);

struct sDEINTERLACE_MSG { std::int32_t type, enable, mode, val[3]; };
static_assert(sizeof(sDEINTERLACE_MSG) == 24 && offsetof(sDEINTERLACE_MSG, enable) == 4 &&
              offsetof(sDEINTERLACE_MSG, mode) == 8 && offsetof(sDEINTERLACE_MSG, val) == 12);

/// pCfg is a pointer of the board, which has 32 bits.
struct sCFG_MSG {
    std::int32_t  cmmdId;
    std::int32_t  updateId;
    std::uint32_t pCfg;
    std::uint32_t ptcVersion;
    std::int32_t  hwVersion;
    std::int32_t  monType;
    std::int32_t  defaultRes;
    char          macAddr[6];
};
static_assert(sizeof(sCFG_MSG) == 36 && offsetof(sCFG_MSG, updateId) == 4 && offsetof(sCFG_MSG, pCfg) == 8 &&
              offsetof(sCFG_MSG, ptcVersion) == 12 && offsetof(sCFG_MSG, hwVersion) == 16 &&
              offsetof(sCFG_MSG, monType) == 20 && offsetof(sCFG_MSG, defaultRes) == 24 &&
              offsetof(sCFG_MSG, macAddr) == 28);

struct sCHANNEL_START { std::int32_t cmmdId, channelId; };
static_assert(sizeof(sCHANNEL_START) == 8 && offsetof(sCHANNEL_START, channelId) == 4);

struct sPLAYER_SETTING { std::int32_t cmmdId, tvRes, aType, aFreq, vType, vSysType, vForceSD, avPID; };
static_assert(sizeof(sPLAYER_SETTING) == 32 && offsetof(sPLAYER_SETTING, tvRes) == 4 &&
              offsetof(sPLAYER_SETTING, aType) == 8 && offsetof(sPLAYER_SETTING, aFreq) == 12 &&
              offsetof(sPLAYER_SETTING, vType) == 16 && offsetof(sPLAYER_SETTING, vSysType) == 20 &&
              offsetof(sPLAYER_SETTING, vForceSD) == 24 && offsetof(sPLAYER_SETTING, avPID) == 28);

struct sFRAME_CT { std::int32_t cmmdId; std::uint32_t frameCt; std::int32_t reserve[4]; };
static_assert(sizeof(sFRAME_CT) == 24 && offsetof(sFRAME_CT, frameCt) == 4 && offsetof(sFRAME_CT, reserve) == 8);

struct sOSD_ACTION { std::int32_t cmmdId, action, param; };
static_assert(sizeof(sOSD_ACTION) == 12 && offsetof(sOSD_ACTION, action) == 4 && offsetof(sOSD_ACTION, param) == 8);

struct sLAYERING_CTL { std::int32_t cmmdId, subCmdId; std::uint32_t param[94]; };
static_assert(sizeof(sLAYERING_CTL) == 384 && offsetof(sLAYERING_CTL, subCmdId) == 4 &&
              offsetof(sLAYERING_CTL, param) == 8);

struct sCOLOR_SETTING { std::int32_t cmmdId, brightness, color, contrast, tint; };
static_assert(sizeof(sCOLOR_SETTING) == 20 && offsetof(sCOLOR_SETTING, brightness) == 4 &&
              offsetof(sCOLOR_SETTING, color) == 8 && offsetof(sCOLOR_SETTING, contrast) == 12 &&
              offsetof(sCOLOR_SETTING, tint) == 16);

struct sSIZE_ADJ_SETTING { std::int32_t cmmdId, adjWidth, adjX, adjHeight, adjY; };
static_assert(sizeof(sSIZE_ADJ_SETTING) == 20 && offsetof(sSIZE_ADJ_SETTING, adjWidth) == 4 &&
              offsetof(sSIZE_ADJ_SETTING, adjX) == 8 && offsetof(sSIZE_ADJ_SETTING, adjHeight) == 12 &&
              offsetof(sSIZE_ADJ_SETTING, adjY) == 16);

struct sTUNER_CHANNEL_STATUS { std::int32_t cmmdId, channelId, subChanCnt, signalStrength, param[4]; };
static_assert(sizeof(sTUNER_CHANNEL_STATUS) == 32 && offsetof(sTUNER_CHANNEL_STATUS, channelId) == 4 &&
              offsetof(sTUNER_CHANNEL_STATUS, subChanCnt) == 8 && offsetof(sTUNER_CHANNEL_STATUS, signalStrength) == 12 &&
              offsetof(sTUNER_CHANNEL_STATUS, param) == 16);

/// Any record.
union sMSG_COMMON_FORMAT {
    sKBL_CTL_MSG          cmmd;
    sSTART_IMAGE_DISPLAY  imageStart;
    sSTART_STREAM_DISPLAY streamStart, nextStream;
    sSTART_FILE_PLAY      fileStart;
    sFILE_PLAY_NEXT       fileNext;
    sSTART_TUNER_CHANNEL  tunerStart, tunerNext;
    sSTART_FILE_PLAY      browser;
    sKBL_PLAYER_CTL       playerCtl;
    sKBL_LAYER_INFO       layer;
    sHWC_MSG_DISPLAY      hwcMsg;
    sTUNER_SCAN_MSG       scanCmmd;
    sSAPP_CMMD_MSG        sapp;
    sCMMD_DBG             dbg;
    sSTOP_DISPLAY         stop;
    sCMD_ONLY             cmmdOnly;
    sIMAGE_OPTION         imageOpt;
    sPLAY_INTERNAL_IMAGE  internalImage;
    sKBL_PLAYER_CHANGES   playerChange;
    sDEINTERLACE_MSG      deinterlace;
    sCFG_MSG              cfgMsg;
    sCHANNEL_START        chStart;
    sPLAYER_SETTING       setting;
    sFRAME_CT             frameCount;
    sOSD_ACTION           osdAction;
    sLAYERING_CTL         layerCtl;
    sCOLOR_SETTING        colorSetting;
    sSIZE_ADJ_SETTING     sizeAdjSetting;
    sTUNER_CHANNEL_STATUS chanStatus;
};
static_assert(sizeof(sMSG_COMMON_FORMAT) == 384);

/// The message on the queue, as the board's processes declare it; the type is the system's `long` of the board.
struct s_MSG_BUF { std::int32_t type, cmmdId; char buf[380]; };
static_assert(sizeof(s_MSG_BUF) == 388 && offsetof(s_MSG_BUF, cmmdId) == 4 && offsetof(s_MSG_BUF, buf) == 8);

// Records of the browser controller's queues.

/// A status request, with cmmdId 71, the key of the queue for the answer and 2; its answer has the status in param[1].
struct sMSG_CMD_FORMAT { std::int32_t cmmdId, param[7]; };
static_assert(sizeof(sMSG_CMD_FORMAT) == 32 && offsetof(sMSG_CMD_FORMAT, param) == 4);

// clang-format on
