// The user interface on a real X server with a real window manager, driven by real pointer and key events.
#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include "tests/fakes/EventLoop.h"
#include "tests/fakes/Places.h"
#include "tests/fakes/PrintQt.h"
#include "tests/ui/support/SessionBus.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora {

class DesktopFixture : public testing::Test {
 protected:
  DesktopFixture() { testloop::ensureApplication(); }
  ~DesktopFixture() override {
    stage_.closeWriteChannel();
    if (stage_.state() != QProcess::NotRunning && !stage_.waitForFinished(10000)) stage_.kill();
    stage_.waitForFinished();
  }

  void startStage(const QStringList& variables = {}) {
    ASSERT_TRUE(server_.running());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), server_.display());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("PATH"), tools_.path() + u':' + qEnvironmentVariable("PATH"));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
    for (const QString& variable : variables) {
      environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    }
    // Stands in for the browser and records the address.
    QFile opener(tools_.filePath(QStringLiteral("xdg-open")));
    ASSERT_TRUE(opener.open(QIODevice::WriteOnly));
    opener.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >>'" + openedPath().toUtf8() + "'\n");
    opener.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    opener.close();
    startWindowManager();
    stage_.setProcessEnvironment(environment);
    stage_.start(testplaces::build() + QStringLiteral("/ui_stage"), QStringList());
    ASSERT_TRUE(expect(QStringLiteral("ready")));
  }

  // A second call does nothing. Call before any window is shown: a window that appears while the window manager starts
  // may be lost.
  void startWindowManager() {
    if (managed()) return;
    windowManager_ = server_.spawn(
        {"openbox", "--sm-disable", "--startup", "xprop -root -format _TEST_MANAGED 8s -set _TEST_MANAGED yes"});
    ASSERT_TRUE(testloop::waitFor([this] { return managed(); }));
  }
  // Whether the window manager is running.
  bool managed() {
    QProcess properties;
    properties.start(QStringLiteral("xprop"), {QStringLiteral("-display"), server_.display(), QStringLiteral("-root"),
                                               QStringLiteral("_TEST_MANAGED")});
    properties.waitForFinished(20000);
    return properties.readAllStandardOutput().contains("yes");
  }

  void tell(const QString& line) {
    stage_.write(line.toUtf8() + '\n');
    stage_.waitForBytesWritten();
  }
  // Waits for a line that starts with `start`; returns the rest of the line, empty on timeout.
  std::optional<QString> answer(const QString& start) {
    std::optional<QString> found;
    const bool came = testloop::waitFor([&] {
      while (stage_.canReadLine()) lines_.append(QString::fromUtf8(stage_.readLine()).trimmed());
      for (const QString& line : std::as_const(lines_)) {
        if (!line.startsWith(start)) continue;
        found = line.mid(start.size()).trimmed();
        lines_.removeOne(line);
        return true;
      }
      return false;
    });
    return came ? found : std::nullopt;
  }
  [[nodiscard]] bool expect(const QString& line) { return answer(line).has_value(); }
  // Repeats the question until the answer is `wanted`.
  [[nodiscard]] bool comesToBe(const QString& question, const QString& wanted) {
    testloop::Timeout timeout;
    while (!timeout.isOver()) {
      tell(question + u'?');
      if (answer(question + u' ').value_or(QString()) == wanted) return true;
    }
    return false;
  }

  // Real events.
  QString xdotool(const QStringList& arguments) {
    QProcess tool;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), server_.display());
    tool.setProcessEnvironment(environment);
    tool.start(QStringLiteral("xdotool"), arguments);
    tool.waitForFinished(20000);
    return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
  }
  void clickAt(const QPoint& place, int button = 1) {
    xdotool({QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y()),
             QStringLiteral("click"), QString::number(button)});
  }
  void press(const QString& keys) { xdotool({QStringLiteral("key"), keys}); }
  // The visible windows titled `title`.
  QString windows(const QString& title) {
    return xdotool(
        {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"), u'^' + title + u'$'});
  }
  // Waits until there is one.
  [[nodiscard]] bool sees(const QString& title) {
    return testloop::waitFor([&] { return !windows(title).isEmpty(); });
  }
  QString activeWindow() { return xdotool({QStringLiteral("getactivewindow"), QStringLiteral("getwindowname")}); }
  [[nodiscard]] bool vanishes(const QString& title) {
    return testloop::waitFor([&] { return windows(title).isEmpty(); });
  }

  // A screenshot. Saved if the test run keeps its results.
  QImage screen(const QString& name = {}) {
    const QString path = tools_.filePath(QStringLiteral("screen.png"));
    server_.run({"import", "-window", "root", path.toStdString()});
    QImage image(path);
    const QString results = qEnvironmentVariable("VANTORA_RESULTS");
    if (!results.isEmpty() && !name.isEmpty()) image.save(results + u'/' + name + QStringLiteral(".png"));
    return image.convertToFormat(QImage::Format_RGB32);
  }
  // The area with pixels of exactly this colour; empty if there are none.
  static QRect placeOf(const QImage& image, const QColor& colour) {
    QRect place;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) {
        if (image.pixelColor(x, y) == colour) place |= QRect(x, y, 1, 1);
      }
    }
    return place;
  }
  // Waits until that colour is on the screen.
  [[nodiscard]] bool shows(const QColor& colour) {
    return testloop::waitFor([&] { return !placeOf(screen(), colour).isEmpty(); });
  }
  [[nodiscard]] bool showsNo(const QColor& colour) {
    return testloop::waitFor([&] { return placeOf(screen(), colour).isEmpty(); });
  }

  QString openedPath() const { return tools_.filePath(QStringLiteral("opened")); }
  QStringList opened() const {
    QFile file(openedPath());
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
  }

  testx11::XvfbServer server_{1000, 700};
  QTemporaryDir tools_;
  testx11::ChildProcess windowManager_;
  QProcess stage_;
  QStringList lines_;
};

}  // namespace vantora
