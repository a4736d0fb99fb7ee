// Answers from another viewer than the current one.
#include "tests/unit/session/peer/NegotiationFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using fakes::answerText;

class AnotherViewerTest : public NegotiationFixture {};

TEST_F(AnotherViewerTest, takesAnAnswerOfTheSameViewerAgain) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  offer();
  answer(answerText(u"aa:bb"_s, u"u2"_s));
  EXPECT_EQ(replaced_, 0);
  EXPECT_EQ(peer().remoteAnswers.size(), 2);
}

TEST_F(AnotherViewerTest, detectsAnAnswerOfAnotherViewerAndDoesNotApplyIt) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  EXPECT_EQ(replaced_, 1);
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
}

TEST_F(AnotherViewerTest, appliesAnAnswerWithoutAFingerprintLikeAnyOther) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  offer();
  answer(u"v=0\r\n"_s);
  EXPECT_EQ(replaced_, 0);
  EXPECT_EQ(peer().remoteAnswers.size(), 2);
}

TEST_F(AnotherViewerTest, doesNotTakeTheFingerprintOfAnAnswerThatFailed) {
  offer();
  peer().remoteError = u"bad"_s;
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  peer().remoteError.reset();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  EXPECT_EQ(replaced_, 0);
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
}

TEST_F(AnotherViewerTest, dropsTheNewViewersAnswersToOlderOffersExactlyAsOftenAsThereWereSuch) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  // Three offers are under way when the page is reloaded; the page answers each of them.
  offer();
  offer();
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  ASSERT_EQ(replaced_, 1);
  attachNewPeer();
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  EXPECT_TRUE(peer().remoteAnswers.isEmpty());
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
  EXPECT_EQ(replaced_, 1);
}

TEST_F(AnotherViewerTest, appliesTheNewViewersAnswerAtOnceWhenItHasANewIceName) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  offer();
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  ASSERT_EQ(replaced_, 1);
  attachNewPeer();
  offer();
  answer(answerText(u"CC:DD"_s, u"u3"_s));
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
}

TEST_F(AnotherViewerTest, dropsNothingWhenOnlyOneOfferWasUnanswered) {
  offer();
  answer(answerText(u"AA:BB"_s, u"u1"_s));
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  attachNewPeer();
  offer();
  answer(answerText(u"CC:DD"_s, u"u2"_s));
  EXPECT_EQ(peer().remoteAnswers.size(), 1);
}

}  // namespace
}  // namespace vantora
