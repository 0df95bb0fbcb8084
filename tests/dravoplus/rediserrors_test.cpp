// rediserrors_test.cpp: what each error a Redis server answers means to a
// client of the middleware. A server still reading its data back after a
// restart is not there yet (its clients try again), a standby takes no
// writes, a refused login fails authentication, a request the user's role
// refuses is not permitted, damaged data is damaged.
#include "redisconnection.h"

#include <DravoPlus/DravoPlus.h>

#include <gtest/gtest.h>

#include <hiredis/hiredis.h>

#include <string>

namespace {

int codeOf(std::string message)
{
    redisReply reply{};
    reply.type = REDIS_REPLY_ERROR;
    reply.str = message.data();
    reply.len = message.size();
    return dravo::redis::errorCode(&reply);
}

TEST(ServerErrorTest, ServerLoadingItsDataIsNotThereYet)
{
    EXPECT_EQ(codeOf("LOADING Redis is loading the dataset in memory"), DRAVO_UNREACHABLE);
}

TEST(ServerErrorTest, StandbyTakesNoWrites)
{
    EXPECT_EQ(codeOf("READONLY You can't write against a read only replica."), DRAVO_READ_ONLY);
}

TEST(ServerErrorTest, RefusedLoginsAreAuthenticationFailures)
{
    EXPECT_EQ(codeOf("NOAUTH Authentication required."), DRAVO_AUTH_FAILED);
    EXPECT_EQ(codeOf("WRONGPASS invalid username-password pair or user is disabled."), DRAVO_AUTH_FAILED);
}

TEST(ServerErrorTest, RequestsTheUsersRoleRefusesAreNotPermitted)
{
    EXPECT_EQ(codeOf("NOPERM this user has no permissions to run the 'set' command"), DRAVO_NOT_PERMITTED);
    EXPECT_EQ(codeOf("ERR The user executing the script can't run this command or subcommand script: abc"),
              DRAVO_NOT_PERMITTED);
}

TEST(ServerErrorTest, DamagedDataIsMalformed)
{
    EXPECT_EQ(codeOf("DAMAGED box B: its port is not a positive number"), DRAVO_MALFORMED);
    EXPECT_EQ(codeOf("WRONGTYPE Operation against a key holding the wrong kind of value"), DRAVO_MALFORMED);
}

TEST(ServerErrorTest, AnythingElseIsTheServersFailure)
{
    EXPECT_EQ(codeOf("ERR unknown command 'FOO'"), DRAVO_SERVER_ERROR);
    EXPECT_EQ(codeOf(""), DRAVO_SERVER_ERROR);
}

} // namespace
