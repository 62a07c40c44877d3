#include "front/Admission.h"

#include <gtest/gtest.h>

namespace HOQ::agent {
namespace {

using Answer = Admission::Answer;

TEST(AdmissionTest, TheLimitsCountInAllAndByPeer) {
  Admission admission;
  admission.setLimits(3, 2);
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
  EXPECT_EQ(admission.admit("a"), Answer::TooManyOfPeer);
  EXPECT_EQ(admission.admit("b"), Answer::Admitted);
  EXPECT_EQ(admission.admit("c"), Answer::TooMany);
  EXPECT_EQ(admission.admit("a"), Answer::TooMany);
  EXPECT_EQ(admission.count(), 3u);
}

TEST(AdmissionTest, AReleasedPlaceIsFreeAgain) {
  Admission admission;
  admission.setLimits(1, 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(admission.admit("a"), Answer::Admitted);
    EXPECT_EQ(admission.admit("a"), Answer::TooMany);
    admission.release("a");
    EXPECT_EQ(admission.count(), 0u);
  }
}

TEST(AdmissionTest, ARefusedConnectionTakesNoPlace) {
  Admission admission;
  admission.setLimits(9, 1);
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(admission.admit("a"), Answer::TooManyOfPeer);
  EXPECT_EQ(admission.count(), 1u);
  admission.release("stranger");
  EXPECT_EQ(admission.count(), 1u);
}

TEST(AdmissionTest, LowerLimitsHoldForNewConnections) {
  Admission admission;
  admission.setLimits(2, 2);
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
  admission.setLimits(1, 1);
  admission.release("a");
  EXPECT_EQ(admission.admit("a"), Answer::TooMany);
  admission.release("a");
  EXPECT_EQ(admission.admit("a"), Answer::Admitted);
}

}  // namespace
}  // namespace HOQ::agent
