// Contract tests for every implementation of the desktop session. Include it once in a test program for each
// implementation, and instantiate it with a TestDesktop.
#pragma once

#include "tests/contract/DesktopInputContract.h"
#include "tests/contract/DesktopSessionContract.h"
#include "tests/contract/DisplaysContract.h"
#include "tests/contract/ScreenCaptureContract.h"
#include "tests/contract/SystemCursorContract.h"

// `Desktop`: a TestDesktop that can be made without arguments.
#define INSTANTIATE_DESKTOP_CONTRACT(Name, Desktop)                                                  \
  const auto make##Name##Desktop =                                                                   \
      testing::Values([]() -> std::unique_ptr<TestDesktop> { return std::make_unique<Desktop>(); }); \
  INSTANTIATE_TEST_SUITE_P(Name, DesktopSessionContract, make##Name##Desktop);                       \
  INSTANTIATE_TEST_SUITE_P(Name, DisplaysContract, make##Name##Desktop);                             \
  INSTANTIATE_TEST_SUITE_P(Name, DesktopInputContract, make##Name##Desktop);                         \
  INSTANTIATE_TEST_SUITE_P(Name, ScreenCaptureContract, make##Name##Desktop);                        \
  INSTANTIATE_TEST_SUITE_P(Name, SystemCursorContract, make##Name##Desktop)
