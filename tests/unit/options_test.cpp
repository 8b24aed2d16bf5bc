// The words of tolvd's command line.
#include "daemon/options.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

Options Read(const std::vector<std::string>& words)
{
    std::vector<const char*> argv = {"tolvd"};
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    return ReadOptions(static_cast<int>(argv.size()), argv.data());
}

TEST(Options, RunInTheBackgroundWithoutAWordAndAsTheFrontEndStartsIt)
{
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{}, std::vector<std::string>{std::string(12, ' ')}}) {
        Options options = Read(words);
        EXPECT_EQ(options.task, TASK_RUN);
        EXPECT_FALSE(options.isForeground || options.isDryRun || options.isJson);
    }
}

TEST(Options, RunWithItsOptionsInAnyOrder)
{
    Options options = Read({"--dry-run", "--foreground"});
    EXPECT_EQ(options.task, TASK_RUN);
    EXPECT_TRUE(options.isForeground && options.isDryRun);
    options = Read({"--dry-run"});
    EXPECT_EQ(options.task, TASK_RUN);
    EXPECT_TRUE(options.isDryRun && !options.isForeground);
}

TEST(Options, KnowTheQuestions)
{
    EXPECT_EQ(Read({"--check"}).task, TASK_CHECK);
    EXPECT_EQ(Read({"--help"}).task, TASK_HELP);
    EXPECT_EQ(Read({"--version"}).task, TASK_VERSION);
    EXPECT_EQ(Read({"--status"}).task, TASK_STATUS);
    EXPECT_FALSE(Read({"--status"}).isJson);
    EXPECT_EQ(Read({"--status", "--json"}).task, TASK_STATUS);
    EXPECT_TRUE(Read({"--status", "--json"}).isJson);
}

TEST(Options, KnowHowTheUpsIsReached)
{
    // The options lead to the words, which have to stay.
    const std::vector<std::string> serial = {"--setup", "serial", "/dev/ttyS0"};
    Options options = Read(serial);
    EXPECT_EQ(options.task, TASK_SETUP_SERIAL);
    EXPECT_STREQ(options.device, "/dev/ttyS0");
    const std::vector<std::string> agent = {"--setup", "snmp", "192.0.2.1"};
    options = Read(agent);
    EXPECT_EQ(options.task, TASK_SETUP_SNMP);
    EXPECT_STREQ(options.address, "192.0.2.1");
    EXPECT_EQ(options.community, nullptr) << "as it was";
    const std::vector<std::string> whole = {"--setup", "snmp", "192.0.2.1", "private"};
    options = Read(whole);
    EXPECT_EQ(options.task, TASK_SETUP_SNMP);
    EXPECT_STREQ(options.community, "private");
}

TEST(Options, RefuseEverythingElse)
{
    const std::vector<std::vector<std::string>> wrong = {
        {""},
        {" "},
        {std::string(11, ' ')},
        {std::string(13, ' ')},
        {"--"},
        {"--Foreground"},
        {"-h"},
        {"start"},
        {"--json"},
        {"--check", "--foreground"},
        {"--foreground", "--check"},
        {"--help", ""},
        {"--status", "--foreground"},
        {"--status", "--json", "--json"},
        {"--json", "--status"},
        {"--setup"},
        {"--setup", "serial"},
        {"--setup", "snmp"},
        {"--setup", "serial", "a", "b"},
        {"--setup", "snmp", "a", "b", "c"},
        {"--setup", "parallel", "a"},
        {"--foreground", std::string(12, ' ')},
        {std::string(12, ' '), std::string(12, ' ')},
    };
    for (const std::vector<std::string>& words : wrong)
        EXPECT_EQ(Read(words).task, TASK_USAGE_ERROR) << words[0];
}

TEST(Options, AreAllInTheUsage)
{
    const std::string usage = USAGE_TEXT;
    for (const char* option :
         {"--foreground", "--dry-run", "--check", "--setup serial DEVICE",
          "--setup snmp ADDRESS [COMMUNITY]", "--status [--json]", "--help", "--version"})
        EXPECT_NE(usage.find(option), std::string::npos) << option;
}

} // namespace
