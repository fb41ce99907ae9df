// Answers of the settings agent.
#include <cstring>
#include <memory>

#include "snmplocal.h"
#include "world.h"

void fuzz::Agent(Input& input, unsigned /*flags*/) {
    const Block answer = input.Rest();
    FillAgent(answer);
    const auto agent = std::make_unique<SnmpLocal>();
    for (const char* value : {agent->SnmpGet(Oid(TUNER_MODE)), agent->SnmpSet("%s s %s", Oid(SERIAL_PARAMETERS), "%s%n")}) {
        if (value != nullptr) Promise(std::strlen(value) <= answer.size() + 16, "a value is part of the answer");
    }
}
