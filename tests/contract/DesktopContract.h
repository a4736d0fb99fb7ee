// Contract tests for every implementation of the desktop session. Include it once in a test program for each
// implementation, and instantiate it with a bench.
#pragma once

#include "tests/contract/DesktopInputContract.h"
#include "tests/contract/DesktopSessionContract.h"
#include "tests/contract/DisplaysContract.h"
#include "tests/contract/ScreenCaptureContract.h"
#include "tests/contract/SystemCursorContract.h"

// `Bench`: a DesktopBench that can be made without arguments.
#define INSTANTIATE_DESKTOP_CONTRACT(Name, Bench)                                                   \
  const auto make##Name##Bench =                                                                    \
      testing::Values([]() -> std::unique_ptr<DesktopBench> { return std::make_unique<Bench>(); }); \
  INSTANTIATE_TEST_SUITE_P(Name, DesktopSessionContract, make##Name##Bench);                        \
  INSTANTIATE_TEST_SUITE_P(Name, DisplaysContract, make##Name##Bench);                              \
  INSTANTIATE_TEST_SUITE_P(Name, DesktopInputContract, make##Name##Bench);                          \
  INSTANTIATE_TEST_SUITE_P(Name, ScreenCaptureContract, make##Name##Bench);                         \
  INSTANTIATE_TEST_SUITE_P(Name, SystemCursorContract, make##Name##Bench)
