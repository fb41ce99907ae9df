/* zul.h: the interface of libzul.so for the process that loads it. C linkage throughout. */
#ifndef ZUL_H
#define ZUL_H

#ifdef __cplusplus
extern "C" {
#endif

/** Version of this header, major * 10000 + minor * 100 + patch. That of a running module is the reply to VERS. */
#define ZUL_HEADER_VERSION 8214

#define ZUL_EXPORT __attribute__((visibility("default")))

/**
 * Starts the module, once per process. Waits for the settings agent's answers: until then the log's last line, on a
 * line-buffered standard output, is "Txing SNMP msg ...". Returns while the boot steps still run on the module's own
 * thread.
 *
 * \param type  'T' transmitter, 'R' receiver, 'A' role taken from the board's version
 * \return a block of 128 bytes, the same at every call; the module writes nothing in it
 *
 * A second call changes nothing and reports that. The process ends with
 *  exit(-1) when the role is none of the three, when a message queue of the settings agent or of the infrared
 *           service can't be opened, or when 'A' gets no answer or finds no board of the right family;
 *  exit(-2) when a receiver can't open the browser's message queue;
 *  exit(-3) when a receiver's infrared or serial thread can't be created.
 */
ZUL_EXPORT char* Zul_Start_Filter(char type);

/**
 * Passes broadcast data to the module; may be called once the module is loaded.
 *
 * \param data  role 'T': transport stream (ISO/IEC 13818-1), any number of bytes, packets may be split over calls;
 *              role 'R': one complete PAT or PMT section, from its table_id on, of the length in its section_length
 * \param len   role 'T': bytes in data; role 'R': not used
 */
ZUL_EXPORT void Zul_Filter(unsigned char* data, unsigned int len);

/**
 * Runs a line of the player's command language; the text is cut into words in place.
 * Nothing is reported back: a player that is absent or whose queue is full loses the order.
 */
ZUL_EXPORT void m710cmmd(char* arg);

/**
 * Runs the player's command language on separate words. The first word isn't special: a program name there is skipped,
 * like any word that isn't an option.
 * \return 0
 */
ZUL_EXPORT int Main(int argc, char** argv);

/* The discovery beacon. The module starts it. */

/**
 * Starts the beacon thread for role 'T' or 'R'. Waits, polling every second, until an earlier beacon thread has ended:
 * forever if BeaconStop wasn't called.
 * \return 0, or -1 when the thread can't be created
 */
ZUL_EXPORT int BeaconStart(char type);
/** Ends the beacon thread at the next iteration of its loop. */
ZUL_EXPORT void BeaconStop(void);
/** Resumes sending beacons, as after a change of address. */
ZUL_EXPORT void BeaconRestart(void);
/** Reports a command from a master, which silences the beacon. */
ZUL_EXPORT void BeaconTellThatUdpTrafficReceived(void);
/** \return dotted address of the last restart request's sender, or null before the thread has its sockets */
ZUL_EXPORT char* BeaconGetMasterIp(void);
/** \return the beacon's text; empty until BeaconGetCount is non-zero */
ZUL_EXPORT char* BeaconGetString(void);
/** \return 0 until the network is usable, then a count that grows with the beacons sent */
ZUL_EXPORT unsigned int BeaconGetCount(void);
/** Reports to the beacon thread that commands are now served. */
ZUL_EXPORT void BeaconSetCommandReady(void);
/**
 * Stores the role 'T' or 'R'; any other value only reads, and ends the process with exit(-1) when none is stored yet.
 * \return the role as a string
 */
ZUL_EXPORT char* BeaconType(char typ);

#ifdef __cplusplus
}
#endif

#endif
