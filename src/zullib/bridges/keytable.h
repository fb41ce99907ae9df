/// The remote-control keys, and the datagram that carries one to the master.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

/// One key: its code as received and as sent to the master.
struct RemoteKey {
    int irCode;
    const char* name;  ///< printed before the key is sent
    std::uint8_t datagramCode;
};

// clang-format off
constexpr RemoteKey kRemoteKeys[] = {
    // code name        sent
    { 1, "KEY_NUM_0 ",       25},
    { 2, "KEY_NUM_1 ",       15},
    { 3, "KEY_NUM_2 ",       16},
    { 4, "KEY_NUM_3 ",       17},
    { 5, "KEY_NUM_4 ",       18},
    { 6, "KEY_NUM_5 ",       19},
    { 7, "KEY_NUM_6 ",       20},
    { 8, "KEY_NUM_7 ",       21},
    { 9, "KEY_NUM_8 ",       22},
    {10, "KEY_NUM_9 ",       23},
    {11, "KEY_UP ",           7},
    {12, "KEY_DOWN ",        13},
    {13, "KEY_RIGHT ",       11},
    {14, "KEY_LEFT ",         9},
    {15, "KEY_ENTER (SEL) ", 10},
    {16, "KEY_MENU ",        29},
    {26, "KEY_FF ",          14},
    {33, "KEY_OFF",           2},
    {34, "KEY_ZUL ",          3},
    {35, "KEY_RED ",         27},
    {36, "KEY_GREEN ",       28},
    {37, "KEY_YELLOW ",      30},
    {38, "KEY_BLUE ",        31},
    {39, "KEY_F1 ",          26},
    {40, "KEY_CHAN_UP ",      1},
    {41, "KEY_CHAN_DOWN ",    4},
    {42, "KEY_GUIDE ",       12},
    {43, "KEY_INFO ",        24},
    {44, "KEY_VOL_UP ",       8},
    {45, "KEY_VOL_DOWN ",     6},
    {46, "KEY_MUTE ",         5},
};
// clang-format on

constexpr int kKeyMenu = 16;
constexpr int kKeyVolumeUp = 44;
constexpr int kKeyVolumeDown = 45;

/// A key as sent to the master.
struct KeyDatagram {
    char remoteStr[6];  ///< "REMOTE", without a terminator
    std::uint8_t remoteId;
    std::uint8_t length;
    std::uint8_t systemCode;  ///< low byte of the code that the remote obeys
    std::uint8_t key;         ///< RemoteKey::datagramCode
    std::uint8_t repeat;      ///< 1 for a held volume key, else 0
    std::uint8_t crc;         ///< a constant
};
static_assert(sizeof(KeyDatagram) == 12 && offsetof(KeyDatagram, remoteId) == 6 && offsetof(KeyDatagram, length) == 7 &&
              offsetof(KeyDatagram, systemCode) == 8 && offsetof(KeyDatagram, key) == 9 &&
              offsetof(KeyDatagram, repeat) == 10 && offsetof(KeyDatagram, crc) == 11);

/// Initial content of a datagram; the key code is that of an unknown key.
constexpr KeyDatagram kKeyTemplate = {{'R', 'E', 'M', 'O', 'T', 'E'}, 0x01, 0x04, 0x00, 0x0F, 0x00, 0xCC};

/// \return the key's row, or null
constexpr const RemoteKey* FindKey(int irCode) {
    for (const RemoteKey& key : kRemoteKeys) {
        if (key.irCode == irCode) return &key;
    }
    return nullptr;
}

/// Codes ascend, and no two keys have the same code for the master.
constexpr bool KeysAreDistinct() {
    for (std::size_t i = 0; i < std::size(kRemoteKeys); ++i) {
        for (std::size_t later = i + 1; later < std::size(kRemoteKeys); ++later) {
            if (kRemoteKeys[i].irCode >= kRemoteKeys[later].irCode) return false;
            if (kRemoteKeys[i].datagramCode == kRemoteKeys[later].datagramCode) return false;
        }
    }
    return true;
}
static_assert(KeysAreDistinct());
