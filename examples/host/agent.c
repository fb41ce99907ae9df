/* agent: a settings agent to start from. It answers the module's requests, and keeps what is set until it ends.
 *
 *     cc agent.c -o agent
 *     ./agent &
 *
 * A board's own agent stores the settings and acts on them: integration.md lists queues, texts and settings.
 */
#include <stdio.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/msg.h>

enum { kRequestKey = 1235, kAnswerKey = 1236, kSetRequest = 769, kAnswer = 772 };

#define OID(number) ".1.3.6.1.4.1.48217." number ".0"
static struct setting {
    const char* oid;
    char value[256];
} settings[] = {
    {OID("3.5.13"), "68026368"}, /* the board's version, of a transmitter; 67174400 of a receiver */
    {OID("3.1.1"), "10.0.0.1"},   {OID("3.1.2"), "255.255.255.0"},
    {OID("3.1.3"), "10.0.0.254"}, {OID("3.1.6"), "0"},
    {OID("3.1.7"), "0"},          {OID("3.2.9"), "3"},
    {OID("3.2.14"), ""},          {OID("3.3.1"), ""},
    {OID("3.3.43"), "0"},         {OID("3.3.54"), "0"},
    {OID("3.5.7"), "0"},          {OID("3.5.11"), "0"},
    {OID("3.5.27"), "0"},         {OID("3.5.32"), ""},
    {OID("3.8.5"), "0"},
};

int main(void) {
    static struct {
        long type;
        char text[1100];
    } message;
    const int requests = msgget(kRequestKey, IPC_CREAT | 0666), answers = msgget(kAnswerKey, IPC_CREAT | 0666);
    while (msgrcv(requests, &message, sizeof message.text, 0, 0) >= 0) {
        char oid[64] = "", type[8], value[256] = ""; /* of a set; a get is its OID alone */
        sscanf(message.text, "%63s %7s %255[^\n]", oid, type, value);
        struct setting* setting = settings;
        struct setting* const end = settings + sizeof settings / sizeof *settings;
        while (setting < end && strcmp(setting->oid, oid) != 0) ++setting;
        if (setting < end && message.type == kSetRequest) memcpy(setting->value, value, sizeof value);
        message.type = kAnswer;
        if (setting < end) {
            snprintf(message.text, sizeof message.text, "%s = STRING: %s", oid, setting->value);
        } else {
            snprintf(message.text, sizeof message.text, "%s = No Such Object", oid);
        }
        msgsnd(answers, &message, strlen(message.text) + 1, 0);
    }
    perror("agent");
    return 1;
}
