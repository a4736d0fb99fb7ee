// Contract tests for every DesktopSession as a whole. See DesktopContracts.h.
#pragma once

#include <QDir>

#include "tests/contract/DesktopContract.h"

namespace vantora {

class DesktopSessionContract : public DesktopContract {};

TEST_P(DesktopSessionContract, isReadyOnceNobodyIsToBeAsked) {
  EXPECT_EQ(session().status(), DesktopStatus{DesktopState::ready});
}

TEST_P(DesktopSessionContract, handsOutTheSameObjectsEveryTime) {
  EXPECT_EQ(&session().displays(), &session().displays());
  EXPECT_EQ(&session().input(), &session().input());
  EXPECT_EQ(&session().cursor(), &session().cursor());
  EXPECT_EQ(&session().clipboard(), &session().clipboard());
  EXPECT_EQ(&session().accessibility(), &session().accessibility());
  EXPECT_EQ(&session().supportTools(), &session().supportTools());
}

TEST_P(DesktopSessionContract, makesCapturesThatAreIndependent) {
  const auto first = session().makeScreenCapture();
  const auto second = session().makeScreenCapture();
  ASSERT_TRUE(first && second);
  ASSERT_EQ(openWhenDecided(*first, 0).outcome, ScreenCapture::Outcome::opened);
  CapturedFrame frame;
  EXPECT_EQ(second->poll(frame), ScreenCapture::Poll::lost) << "it is closed";
  first->close();
}

TEST_P(DesktopSessionContract, namesTheMachineAndTheFolderForFiles) {
  EXPECT_TRUE(session().machine().localizedHostName());
  const auto folder = session().downloadFolder();
  EXPECT_TRUE(QDir::isAbsolutePath(folder()));
}

TEST_P(DesktopSessionContract, staysUsableWithoutItsDesktop) {
  desktop_->lose();
  EXPECT_TRUE(session().displays().list().empty());
  EXPECT_NE(session().makeScreenCapture()->open(0).outcome, ScreenCapture::Outcome::opened);
  EXPECT_TRUE(session().machine().localizedHostName());
}

}  // namespace vantora
