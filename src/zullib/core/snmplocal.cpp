// Client of the settings agent, and the table of settings.
#include "core/snmplocal.h"

#include <sys/ipc.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "core/log.h"

namespace {

constexpr int kRequestQueue = 1235;
constexpr int kAnswerQueue = 1236;
constexpr int kSetRequest = 0x301;
constexpr int kGetRequest = 0x302;
constexpr int kAnswer = 0x304;
constexpr std::size_t kTextLimit = 1024;
constexpr std::size_t kSentBehindText = 4;  ///< the zero byte and three bytes more

}  // namespace

// clang-format off
constexpr QvanSettingsType qvanSettings[kQvanSettings] = {
    // type field_name                    snmp_cmd
    {"",  "FIRMWARE_VERSION",                 ""},
    {"",  "BROWSER_VERSION",                  ""},
    {"",  "XAPP_VERSION",                     ""},
    {"",  "QVAN_VERSION",                     ".1.3.6.1.4.1.48217.3.5.13.0"},
    {"?", "CALLHOME_ADDRESS",                 ""},
    {"?", "CALLHOME_INTERVAL",                ""},
    {"",  "ERROR_STATUS",                     ""},
    {"s", "CURRENT_ITEM_BEING_PLAYED",        ".1.3.6.1.4.1.48217.3.3.1.0"},
    {"?", "IS_DOWNLOADING",                   ".1.3.6.1.4.1.48217.3.4.9.0"},
    {"?", "UPDATE_ADDRESS",                   ""},
    {"i", "FREE_SPACE",                       ".1.3.6.1.4.1.48217.3.4.15.0"},
    {"a", "IP_ADDRESS",                       ".1.3.6.1.4.1.48217.3.1.1.0"},
    {"a", "IP_MASK",                          ".1.3.6.1.4.1.48217.3.1.2.0"},
    {"a", "IP_GATEWAY",                       ".1.3.6.1.4.1.48217.3.1.3.0"},
    {"a", "IP_DNS1",                          ".1.3.6.1.4.1.48217.3.1.4.0"},
    {"a", "IP_DNS2",                          ".1.3.6.1.4.1.48217.3.1.5.0"},
    {"i", "DHCP_ENABLE",                      ".1.3.6.1.4.1.48217.3.1.6.0"},
    {"s", "DOMAIN",                           ".1.3.6.1.4.1.48217.3.1.13.0"},
    {"i", "NETWORK_COMMIT",                   ".1.3.6.1.4.1.48217.3.1.7.0"},
    {"i", "NETWORK_CONTROL",                  ".1.3.6.1.4.1.48217.3.1.26.0"},
    {"i", "TRAP_ENABLE",                      ".1.3.6.1.4.1.48217.3.5.28.0"},
    {"s", "TRAP_DESTINATION",                 ".1.3.6.1.4.1.48217.3.5.29.0"},
    {"s", "MULTIPLE_UPGRADE",                 ".1.3.6.1.4.1.48217.3.5.32.0"},
    {"",  "BUILD_ID",                         ""},
    {"",  "BUILD_DATE",                       ""},
    {"?", "HAS_WIRELESS",                     ""},
    {"i", "WIRELESS_CONNECTION_TYPE",         ".1.3.6.1.4.1.48217.3.1.21.0"},
    {"i", "WIRELESS_SECURITY_TYPE",           ".1.3.6.1.4.1.48217.3.1.28.0"},
    {"s", "WIRELESS_SSID",                    ".1.3.6.1.4.1.48217.3.1.20.0"},
    {"s", "WIRELESS_KEY",                     ".1.3.6.1.4.1.48217.3.1.22.0"},
    {"i", "WIRELESS_CHANNEL_SELECTION",       ".1.3.6.1.4.1.48217.3.1.23.0"},
    {"i", "WIRELESS_CHANNEL_STRENGTH",        ".1.3.6.1.4.1.48217.3.1.24.0"},
    {"i", "WIRELESS_NETWORK_CONTROL",         ".1.3.6.1.4.1.48217.3.1.27.0"},
    {"i", "WIRELESS_DHCP_ENABLE",             ".1.3.6.1.4.1.48217.3.1.19.0"},
    {"a", "WIRELESS_IP_ADDRESS",              ".1.3.6.1.4.1.48217.3.1.14.0"},
    {"a", "WIRELESS_IP_MASK",                 ".1.3.6.1.4.1.48217.3.1.15.0"},
    {"a", "WIRELESS_IP_GATEWAY",              ".1.3.6.1.4.1.48217.3.1.16.0"},
    {"a", "WIRELESS_IP_DNS1",                 ".1.3.6.1.4.1.48217.3.1.17.0"},
    {"a", "WIRELESS_IP_DNS2",                 ".1.3.6.1.4.1.48217.3.1.18.0"},
    {"?", "WIRELESS_DOMAIN",                  ".1.3.6.1.4.1.48217.3.1.25.0"},
    {"?", "VIRTUAL_PLAY_CHANNEL",             ".1.3.6.1.4.1.48217.3.3.3.0"},
    {"?", "VIRTUAL_CHANNEL_ID",               ".1.3.6.1.4.1.48217.3.3.10.0"},
    {"?", "VIRTUAL_CHANNEL_MEDIA",            ".1.3.6.1.4.1.48217.3.3.11.0"},
    {"?", "VIRTUAL_CHANNEL_ALIAS",            ".1.3.6.1.4.1.48217.3.3.46.0"},
    {"?", "VIRTUAL_CHANNEL_DISPLAY_POSITION", ".1.3.6.1.4.1.48217.3.3.47.0"},
    {"?", "SSI_VIRTUAL_CHANNEL_ENABLE",       ".1.3.6.1.4.1.48217.3.3.48.0"},
    {"?", "VIRTUAL_CHANNEL_MIN",              ".1.3.6.1.4.1.48217.3.3.49.0"},
    {"?", "VIRTUAL_CHANNEL_MAX",              ".1.3.6.1.4.1.48217.3.3.50.0"},
    {"?", "VIRTUAL_CHANNEL_ALIAS_DURATION",   ".1.3.6.1.4.1.48217.3.3.51.0"},
    {"i", "PLAY_MODE",                        ".1.3.6.1.4.1.48217.3.3.9.0"},
    {"i", "PLAY_MEDIA",                       ".1.3.6.1.4.1.48217.3.3.6.0"},
    {"i", "ACTIVE_LAYER",                     ".1.3.6.1.4.1.48217.3.3.30.0"},
    {"s", "COORDINATE_MODE",                  ".1.3.6.1.4.1.48217.3.3.23.0"},
    {"s", "PLAY_LAYER",                       ".1.3.6.1.4.1.48217.3.3.32.0"},
    {"i", "X_POSITION",                       ".1.3.6.1.4.1.48217.3.3.24.0"},
    {"i", "Y_POSITION",                       ".1.3.6.1.4.1.48217.3.3.25.0"},
    {"i", "X_SIZE",                           ".1.3.6.1.4.1.48217.3.3.26.0"},
    {"i", "Y_SIZE",                           ".1.3.6.1.4.1.48217.3.3.27.0"},
    {"i", "ALPHA_LAYER",                      ".1.3.6.1.4.1.48217.3.3.29.0"},
    {"i", "VIDEO_RESOLUTION",                 ".1.3.6.1.4.1.48217.3.2.9.0"},
    {"i", "MONITOR_TYPE",                     ".1.3.6.1.4.1.48217.3.2.1.0"},
    {"s", "SERIAL_PARAMETERS",                ".1.3.6.1.4.1.48217.3.2.14.0"},
    {"i", "IR_CONTROL",                       ".1.3.6.1.4.1.48217.3.5.27.0"},
    {"i", "CONFIG_SAVE",                      ".1.3.6.1.4.1.48217.3.5.11.0"},
    {"i", "REBOOT",                           ".1.3.6.1.4.1.48217.3.5.7.0"},
    {"i", "TUNER_MODE",                       ".1.3.6.1.4.1.48217.3.8.5.0"},
    {"i", "TUNER_SCAN",                       ".1.3.6.1.4.1.48217.3.8.6.0"},
    {"i", "CLOSE_CAPTION",                    ".1.3.6.1.4.1.48217.3.3.54.0"},
    {"i", "NETWORK_BUFFER_SIZE",              ".1.3.6.1.4.1.48217.3.3.43.0"},
};
// clang-format on

namespace {

constexpr bool Stands(QvanSetting setting, std::string_view name) {
    return qvanSettings[setting].field_name == name && qvanSettings[setting].snmp_cmd[0] == '.';
}
static_assert(Stands(QVAN_VERSION, "QVAN_VERSION") && Stands(CURRENT_ITEM_BEING_PLAYED, "CURRENT_ITEM_BEING_PLAYED") &&
              Stands(IP_ADDRESS, "IP_ADDRESS") && Stands(IP_MASK, "IP_MASK") && Stands(IP_GATEWAY, "IP_GATEWAY") &&
              Stands(DHCP_ENABLE, "DHCP_ENABLE") && Stands(NETWORK_COMMIT, "NETWORK_COMMIT") &&
              Stands(MULTIPLE_UPGRADE, "MULTIPLE_UPGRADE") && Stands(VIDEO_RESOLUTION, "VIDEO_RESOLUTION") &&
              Stands(SERIAL_PARAMETERS, "SERIAL_PARAMETERS") && Stands(IR_CONTROL, "IR_CONTROL") &&
              Stands(CONFIG_SAVE, "CONFIG_SAVE") && Stands(REBOOT, "REBOOT") && Stands(TUNER_MODE, "TUNER_MODE") &&
              Stands(CLOSE_CAPTION, "CLOSE_CAPTION") && Stands(NETWORK_BUFFER_SIZE, "NETWORK_BUFFER_SIZE"));

}  // namespace

SnmpLocal::SnmpLocal() {
    if (!mSnmpMsqTxId.Create(kRequestQueue)) {
        PANIC("msgget in snmplc failed");
        std::exit(-1);
    }
    LOG("Obtained Tx msqid %d\n", mSnmpMsqTxId.Id());
    if (!mSnmpMsqRxId.Create(kAnswerQueue)) {
        PANIC("msgget in snmplc failed");
        std::exit(-1);
    }
    LOG("Obtained Rx msqid %d\n", mSnmpMsqRxId.Id());
    DropAnswers();
}

/// Drops answers to an earlier process, which ended before it read them; they would be taken for ours.
void SnmpLocal::DropAnswers() {
    constexpr int kMostAnswers = 16384;  // capacity of a queue
    for (int i = 0; i < kMostAnswers; ++i) {
        if (mSnmpMsqRxId.Receive(kAnswer, mSnmpMsg.text, kTextLimit, IPC_NOWAIT) < 0) break;
    }
    mSnmpMsg.text[0] = '\0';
}

char* SnmpLocal::SnmpGet(const char* cmd) {
    mSnmpMsg.msg_type = kGetRequest;
    std::snprintf(mSnmpMsg.text, kTextLimit, "%s", cmd);
    return SnmpCom();
}

char* SnmpLocal::SnmpSet(const char* cmd, ...) {
    va_list arguments;
    va_start(arguments, cmd);
    std::vsnprintf(mSnmpMsg.text, kTextLimit, cmd, arguments);
    va_end(arguments);
    mSnmpMsg.msg_type = kSetRequest;
    return SnmpCom();
}

/// One exchange: only one request is pending at a time, as answers carry no id.
char* SnmpLocal::SnmpCom() {
    LOG("Txing SNMP msg %s\n", mSnmpMsg.text);
    if (!mSnmpMsqTxId.Send(mSnmpMsg.msg_type, mSnmpMsg.text, std::strlen(mSnmpMsg.text) + kSentBehindText, 0)) {
        PANIC("msgsnd in snmplc failed");
        return nullptr;
    }
    const ssize_t received = mSnmpMsqRxId.Receive(kAnswer, mSnmpMsg.text, kTextLimit, 0);
    if (received < 0) {
        PANIC("msgrcv in snmplc failed");
        return nullptr;
    }
    mSnmpMsg.text[received] = '\0';
    LOG("Rxing SNMP msg %s\n", mSnmpMsg.text);
    return SnmpProcessResponse();
}

/// Finds the value in an answer such as `OID = TYPE: "value" `, and cuts the text after it.
char* SnmpLocal::SnmpProcessResponse() {
    if (std::strchr(mSnmpMsg.text, '=') == nullptr) {
        PANIC("could not find a '=' in snmp response");
        return nullptr;
    }
    char* const colon = std::strchr(mSnmpMsg.text, ':');
    if (colon == nullptr) {
        PANIC("could not find a ':' in snmp response");
        return nullptr;
    }
    // Skips one character after the colon; there may be none.
    char* value = colon + std::min<std::size_t>(2, std::strlen(colon));
    if (*value == '"') ++value;
    value[std::strcspn(value, "\r\n")] = '\0';
    std::size_t length = std::strlen(value);
    for (const char last : {' ', '"'}) {
        if (length > 0 && value[length - 1] == last) value[--length] = '\0';
    }
    return value;
}
