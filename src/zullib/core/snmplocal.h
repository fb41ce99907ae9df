/// The board's settings, kept by a local agent that is reached over two message queues.
#pragma once

#include <cstddef>

#include "platform/msgqueue.h"

/// One row of the table of settings: zero-filled text.
struct QvanSettingsType {
    char type[4];  ///< letter of the value's type: i integer, a address, s text, ? or none
    char field_name[48];
    char snmp_cmd[48];  ///< the OID; empty where the agent doesn't serve it
};
static_assert(sizeof(QvanSettingsType) == 100);

constexpr std::size_t kQvanSettings = 69;
extern const QvanSettingsType qvanSettings[kQvanSettings];

/// Rows of `qvanSettings` that the module reads or writes.
enum QvanSetting : std::size_t {
    QVAN_VERSION = 3,
    CURRENT_ITEM_BEING_PLAYED = 7,
    IP_ADDRESS = 11,
    IP_MASK = 12,
    IP_GATEWAY = 13,
    DHCP_ENABLE = 16,
    NETWORK_COMMIT = 18,
    MULTIPLE_UPGRADE = 22,
    VIDEO_RESOLUTION = 59,
    SERIAL_PARAMETERS = 61,
    IR_CONTROL = 62,
    CONFIG_SAVE = 63,
    REBOOT = 64,
    TUNER_MODE = 65,
    CLOSE_CAPTION = 67,
    NETWORK_BUFFER_SIZE = 68,
};

/// \return OID of a setting
inline const char* Oid(QvanSetting setting) { return qvanSettings[setting].snmp_cmd; }

constexpr int kIrControlOn = 16;  ///< value of IR_CONTROL that sends keys to the module

/// Client of the settings agent. Not reentrant: the command thread is the only user.
class SnmpLocal {
 public:
    /// Opens both queues, creating them if needed, and drops answers of an earlier process. Ends the process when they
    /// can't be opened.
    SnmpLocal();

    /// Reads a setting; blocks until the agent answers.
    /// \param cmd  OID
    /// \return the value, valid until the next call; null on failure
    char* SnmpGet(const char* cmd);

    /// Writes a setting; blocks until the agent answers.
    /// \param cmd  printf format of "OID type value" with the OID as first argument, such as "%s i %d"
    /// \return the value that the agent echoes, valid until the next call; null on failure
    [[gnu::format(printf, 2, 3)]] char* SnmpSet(const char* cmd, ...);

 private:
    void DropAnswers();
    char* SnmpCom();
    char* SnmpProcessResponse();

    static constexpr std::size_t kTextSize = 1088;

    platform::MsgQueue mSnmpMsqTxId;
    platform::MsgQueue mSnmpMsqRxId;
    struct {
        int msg_type = 0;
        char text[kTextSize] = "";
    } mSnmpMsg;
};
