#include "Outcome.h"

#include <gtest/gtest.h>

using ORVANE_DATABASE::Outcome;

TEST(Outcome, CodesAndErrorStrings) {
    Outcome ok;
    EXPECT_TRUE(ok.isOk());
    EXPECT_EQ(ok.code(), Outcome::SUCCESS);
    EXPECT_EQ(ok.errorCode(), Outcome::NON);
    EXPECT_TRUE(ok.mesg().empty());
    EXPECT_EQ(ok.errorString(), "NON");
    EXPECT_TRUE(Outcome(Outcome::WARNING).isOk());
    EXPECT_FALSE(Outcome(Outcome::FAILURE, Outcome::API_FAIL).isOk());

    EXPECT_EQ(Outcome::errorString(Outcome::UNKNOWN), "UNKNOWN");
    EXPECT_EQ(Outcome::errorString(Outcome::API_FAIL), "API FAIL");
    EXPECT_EQ(Outcome::errorString(Outcome::BAD_IN_ARGUMENT), "BAD IN ARGUMENT");
    EXPECT_EQ(Outcome::errorString(static_cast<Outcome::_ErrorCode>(4)), "");
    EXPECT_EQ(Outcome::errorString(static_cast<Outcome::_ErrorCode>(-1)), "");
}

TEST(Outcome, CopiesOwnTheirMessage) {
    Outcome a(Outcome::FAILURE, Outcome::UNKNOWN, "No Intersection");
    Outcome copy(a);
    std::string const *owned = &a.mesg();
    a = Outcome(Outcome::FAILURE, Outcome::UNKNOWN, "Strong Edge not found");
    EXPECT_EQ(copy.mesg(), "No Intersection");
    EXPECT_EQ(a.mesg(), "Strong Edge not found");
    EXPECT_EQ(&a.mesg(), owned);   // assignment writes into the string already owned

    Outcome &same = a;
    a = same;
    EXPECT_EQ(a.code(), Outcome::FAILURE);
    EXPECT_EQ(a.errorCode(), Outcome::UNKNOWN);
    EXPECT_EQ(a.mesg(), "Strong Edge not found");
}
