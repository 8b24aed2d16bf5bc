// The super-user rule.
#include "base/system.h"
#include "tests/unit/support/files.h"

#include <gtest/gtest.h>

namespace {

const std::string REFUSAL =
    "\nSorry. You must login as super-user to run this program (User ID: 65534)!!\n";

TEST(ChkUserID, LetsTheSuperUserPass)
{
    Outcome outcome = RunInChild([] { return ChkUserID(); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(ChkUserID, RefusesAnOrdinaryUserOnStandardError)
{
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser();
        return ChkUserID();
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, REFUSAL);
}

TEST(ChkUserID, GoesByTheRealUserNotTheEffectiveOne)
{
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser(0);
        return ChkUserID();
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, REFUSAL);
}

} // namespace
