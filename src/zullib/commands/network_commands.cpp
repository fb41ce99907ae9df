// IP? and DHCP: the board's network identity.
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "platform/machine.h"
#include "zul.h"

namespace {

constexpr std::int64_t kReplyWait = platform::kSecond;

}  // namespace

/// IP?: reads the network identity. Every failure is reported; one is enough for "KO\r\n".
char* CommandManager::ProcessIpGet(Request request) {
    ReplyText reply = request.Reply();
    bool failed = false;
    if (const char* const dhcp = mpSnmp->SnmpGet(Oid(DHCP_ENABLE))) {
        reply.Add("DHCP:%d ", Decimal(dhcp));
    } else {
        PANIC("dhcp");
        failed = true;
    }
    reply.Add("MAC:%s ", mpServer->GetSelfMacAddress("eth0"));
    if (const char* const address = mpSnmp->SnmpGet(Oid(IP_ADDRESS))) {
        LOG("IP ADDRRESSS: %s\n", address);
        reply.Add("IP:%s ", address);
    } else {
        PANIC("ip addr");
        failed = true;
    }
    if (const char* const gateway = mpSnmp->SnmpGet(Oid(IP_GATEWAY))) {
        reply.Add("GW:%s ", gateway);
    } else {
        PANIC("gateway addr");
        failed = true;
    }
    if (const char* const mask = mpSnmp->SnmpGet(Oid(IP_MASK))) {
        reply.Add("NM:%s OK\r\n", mask);
    } else {
        PANIC("gateway addr");
        failed = true;
    }
    return failed ? mKo : request.text;
}

/// DHCP: changes the network identity. The reply is sent before the change, after which the master may not reach the
/// board.
/// \param request  the flag, and for fixed addresses ",address,gateway,netmask"
/// \return mKo, or null when the reply was sent
char* CommandManager::ProcessIpSet(Request request) {
    CommaFields fields(request.text);
    const char* const flag = fields.Next();
    const int dhcp = flag != nullptr ? Decimal(flag) : 1;
    char addresses[3][16] = {"", "", ""};
    for (auto& address : addresses) {
        const char* const field = fields.Next();
        if (field == nullptr) break;
        CopyText(address, field);
    }
    const auto& [ipAddr, gwAddr, nmAddr] = addresses;
    LOG("Setting QVAN to DHCP %d, IP %s, GW %s, NM %s\n", dhcp, ipAddr, gwAddr, nmAddr);
    if (mpSnmp->SnmpSet("%s i %d", Oid(DHCP_ENABLE), dhcp) == nullptr) {
        PANIC("set dhcp");
        return mKo;
    }
    if (dhcp != 1 && !SetFixedAddresses(ipAddr, gwAddr, nmAddr)) return mKo;
    mpServer->Reply(mOk, static_cast<int>(std::strlen(mOk)));
    LOG("Stop Beacon on IP change\n");
    platform::Sleep(kReplyWait);
    if (mpSnmp->SnmpSet("%s i 0", Oid(NETWORK_COMMIT)) == nullptr) {
        PANIC("net commit");
        return mKo;
    }
    LOG("Start Beacon on IP change\n");
    BeaconRestart();
    return nullptr;
}

/// \return false at the first address that the agent refuses; the earlier ones stay set
bool CommandManager::SetFixedAddresses(const char* address, const char* gateway, const char* netmask) {
    if (mpSnmp->SnmpSet("%s a %s", Oid(IP_ADDRESS), address) == nullptr) {
        PANIC("set Ip addr");
        return false;
    }
    if (mpSnmp->SnmpSet("%s a %s", Oid(IP_GATEWAY), gateway) == nullptr) {
        PANIC("set gw addr");
        return false;
    }
    if (mpSnmp->SnmpSet("%s a %s", Oid(IP_MASK), netmask) == nullptr) {
        PANIC("set netmask");
        return false;
    }
    return true;
}
