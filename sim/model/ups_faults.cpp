#include "sim/model/ups_faults.h"

#include <algorithm>

namespace {

constexpr const char* ERROR_NAMES[] = {"tooBig", "noSuchName", "badValue", "readOnly", "genErr"};

} // namespace

UpsMisbehaviour StartMisbehaviour(const UpsFaults& faults)
{
    UpsMisbehaviour misbehaviour;
    AddMisbehaviour(misbehaviour, faults.all);
    return misbehaviour;
}

void AddMisbehaviour(UpsMisbehaviour& misbehaviour, const UpsFault& fault)
{
    misbehaviour.silent |= fault.silent;
    misbehaviour.otherId |= fault.otherId;
    misbehaviour.delay = std::max(misbehaviour.delay, fault.delay);
    if (misbehaviour.errorStatus == 0)
        misbehaviour.errorStatus = fault.errorStatus;
}

int ErrorStatus(const std::string& nameOrNumber)
{
    int status = 1;
    for (const char* name : ERROR_NAMES) {
        if (nameOrNumber == name || nameOrNumber == std::to_string(status))
            return status;
        status++;
    }
    return -1;
}
