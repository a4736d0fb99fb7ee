// The application object of a test program with windows.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>

namespace vantora::testui {

// Windows exist only in memory; the caller's desktop is not accessed. The same appearance on every machine.
inline QApplication& application() {
  static int argumentCount = 1;
  static char name[] = "test";
  static char* arguments[] = {name, nullptr};
  static const bool prepared = [] {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_LOGGING_RULES", "qt.text.font.db.warning=false;qt.qpa.*=false");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    return true;
  }();
  // Never destroyed: the destructor would run after those of the toolkit's statics.
  static auto* application = new QApplication(argumentCount, arguments);
  static_cast<void>(prepared);
  return *application;
}

// Base of tests with windows: creates the application before their members.
class UiTest : public testing::Test {
 protected:
  UiTest() { application(); }
};

}  // namespace vantora::testui
