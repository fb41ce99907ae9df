// Options that send nothing: the menu, the end of the process, and name look-ups.
#include <arpa/inet.h>
#include <netdb.h>

#include <cstdio>
#include <cstdlib>

#include "playback/playeroptions.h"

namespace {

constexpr const char* kMenu =
    "\n\ninput command menu:\n"
    "-mount partNo ro|rw            remount a disk partition\n"
    "-image id                      show the built-in picture\n"
    "-hostip name                   look up a host's address\n"
    "-hostname address              look up a host's name\n"
    "-rtp|-udp ip port [progPid [audioPid [Cx [Cy [W [H [ASP [Alpha [yxMode [duration]]]]]]]]]]\n"
    "                               play a stream; progPid and audioPid in hexadecimal\n"
    "-rtsp                          end this process\n"
    "-video fname [loop [duration [Cx [Cy [W [H [asp [alpha [xymod]]]]]]]]]\n"
    "                               play a file\n"
    "-trick cmmd [param]            0 unmute, 1 mute, 2 volume, 3 play, 4 stop, 5 pause, 6 forward, 7 rewind,\n"
    "                               8 slow forward, 9 fast forward\n"
    "-vdbg [paramVal [...]]         debug order of the player, further words in hexadecimal:\n"
    "    0 read state               1 read and clear state      2 toggle video FIFO monitor\n"
    "    3 dump video data          4 exit the player           5 get domain name\n"
    "    6, 7 set domain name (only 7 with its text)             8 host name by IP (text)\n"
    "    9 host IP by name (text)\n"
    "    10 tuner type (0 none, 1 LG_H066F, 2 LG_H081P)         11 toggle vidProfEnableDbg\n"
    "    12 set tuner broadcast enable                          13 closed-caption type (0 to 6)\n"
    "    14 progPid audioPid of the multicast                   15 tuner multicast to 239.1.2.10:10000 off, on\n"
    "    16 built-in video profile off, on                      17 HDMI audio (0 on)\n"
    "    18 analog audio (0 on)     19 reserved                 20 HDMI debug level (0 to 2)\n"
    "    21 1: dump frame counter   22 1: downgrade Dolby Digital Plus\n"
    "-colorbar                      show the colour bar\n"
    "-osdstart, -osdstop            start or stop the on-screen display\n"
    "-stopall                       stop everything\n"
    "-stoppic                       stop the picture\n"
    "-stopvid                       stop the video\n"
    "-stopb                         stop the browser\n"
    "-res index                     set the resolution\n"
    "-vs|-os|-ps Cx Cy W H asp alpha [xymod]\n"
    "                               place the video, picture or browser layer, in percent of the screen\n"
    "-video fname ...               play a file\n"
    "-vnext fname ...               play a file next\n"
    "-pic fname [duration [Cx [Cy [W [H [asp [alpha [xymod]]]]]]]]\n"
    "                               show a picture\n"
    "-pnext fname ...               show a picture next\n"
    "-browser fname [duration [Cx [Cy [W [H [asp [alpha [xymod]]]]]]]]\n"
    "                               show a page\n"
    "-bnext fname ...               show a page next\n"
    "-hwc text [duration [position]]\n"
    "                               show a message of up to 12 characters; position 0 bottom-left, 1 top-left,\n"
    "                               2 bottom-right, 3 top-right, 4 top-centre, 5 middle-centre, 6 bottom-centre\n"
    "-atsc [chId [subId [duration]]]\n"
    "                               tune a channel\n"
    "-scan [subCmmd]                0 stop, 1 start a scan\n"
    "-anext [chId] [subId] [duration]\n";

/// An IPv4 address in a host's entry, as four numbers.
struct AddressBytes {
    explicit AddressBytes(const hostent& host) {
        for (int i = 0; i < 4 && i < host.h_length && host.h_addr_list[0] != nullptr; ++i) {
            byte[i] = static_cast<unsigned char>(host.h_addr_list[0][i]);
        }
    }
    unsigned byte[4] = {};
};

}  // namespace

int RunHelp(const PlayerOption& /*option*/, const Words& /*words*/, int at) {
    std::puts(kMenu);
    return at + 1;
}

int RunExit(const PlayerOption& /*option*/, const Words& /*words*/, int /*at*/) { std::exit(0); }

/// -hostip hostname
int RunHostIp(const PlayerOption& /*option*/, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    const hostent* const host = gethostbyname(words[at + 1]);
    if (host == nullptr) {
        std::perror("[hostIp] iplookup");
        std::printf("[hostIp] iplookup error: %s(%d)\n", hstrerror(h_errno), h_errno);
        return kEndOfLine;
    }
    const AddressBytes ip(*host);
    std::printf("[hostIp] h_name = %s\n\th_addrtype = %d\n\th_length = %d\n\t", host->h_name, host->h_addrtype,
                host->h_length);
    std::printf("[hostIp] %s ip = %u.%u.%u.%u\n", words[at + 1], ip.byte[0], ip.byte[1], ip.byte[2], ip.byte[3]);
    return at + 2;
}

/// -hostname hostip
int RunHostName(const PlayerOption& /*option*/, const Words& words, int at) {
    if (!words.Usable(at + 1)) return kEndOfLine;
    in_addr address{};
    const hostent* const host =
        inet_aton(words[at + 1], &address) != 0 ? gethostbyaddr(&address, sizeof address, AF_INET) : nullptr;
    if (host == nullptr) {
        std::perror("[hostName] namelookup");
        std::printf("[hostName] lookup for %s error: %s(%d)\n", words[at + 1], hstrerror(h_errno), h_errno);
        return kEndOfLine;
    }
    const AddressBytes ip(*host);
    std::printf("[hostName] h_name = %s\n\th_addrtype = %d\n\th_length = %d\n\t", host->h_name, host->h_addrtype,
                host->h_length);
    std::printf("\t\t = %u.%u.%u.%u\n", ip.byte[0], ip.byte[1], ip.byte[2], ip.byte[3]);
    return at + 2;
}
