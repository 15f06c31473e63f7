#include "Outcome.h"

#include <gtest/gtest.h>

using ORVANE_DATABASE::Outcome;

TEST(Outcome, ErrorStringsAndOwnedMessages) {
    EXPECT_TRUE(Outcome().isOk() && Outcome(Outcome::WARNING).isOk());
    EXPECT_FALSE(Outcome(Outcome::FAILURE, Outcome::API_FAIL).isOk());
    EXPECT_EQ(Outcome().errorString(), "NON");
    EXPECT_EQ(Outcome::errorString(Outcome::API_FAIL), "API FAIL");
    EXPECT_EQ(Outcome::errorString(Outcome::BAD_IN_ARGUMENT), "BAD IN ARGUMENT");
    EXPECT_EQ(Outcome::errorString(static_cast<Outcome::_ErrorCode>(4)), "");

    Outcome a(Outcome::FAILURE, Outcome::UNKNOWN, "No Intersection");
    Outcome copy(a);
    a = Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "Strong Edge not found");
    Outcome &same = a;
    a = same;
    EXPECT_EQ(copy.mesg(), "No Intersection");
    EXPECT_EQ(a.mesg(), "Strong Edge not found");
}
