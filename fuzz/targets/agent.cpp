// Answers of the settings agent.
#include <cstring>
#include <memory>

#include "core/snmplocal.h"
#include "world.h"

void fuzz::Agent(Input& input, unsigned /*flags*/) {
    const Block answers = input.Rest();
    const auto agent = std::make_unique<SnmpLocal>();  // drops what is in the queue
    FillAgent(answers);
    const auto judge = [&answers](const char* value) {  // good until the next request
        if (value != nullptr) Promise(std::strlen(value) <= answers.size() + 16, "a value is part of an answer");
    };
    judge(agent->SnmpGet(Oid(TUNER_MODE)));
    judge(agent->SnmpSet("%s s %s", Oid(SERIAL_PARAMETERS), "%s%n"));
}
