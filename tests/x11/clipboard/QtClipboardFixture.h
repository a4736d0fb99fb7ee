// The clipboard of a QGuiApplication on an X server of its own.
#pragma once

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QTemporaryDir>
#include <fstream>

#include "platform/qt/QtClipboard.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"
#include "tests/x11/support/XvfbServer.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;
using testloop::waitFor;
using testx11::ChildProcess;
using testx11::XvfbServer;

// One server and one application for the whole program: Qt does not support a second application.
inline XvfbServer& server() {
  static XvfbServer one(320, 200);
  return one;
}

inline void ensureGui() {
  static int argumentCount = 3;
  static char name[] = "test";
  static char option[] = "-platform";
  static char value[] = "xcb";
  static char* arguments[] = {name, option, value, nullptr};
  qputenv("DISPLAY", server().display().toUtf8());
  // Never deleted: the server ends before static objects are destroyed.
  static auto* application = new QGuiApplication(argumentCount, arguments);
  Q_UNUSED(application);
}

class QtClipboardTest : public testing::Test {
 protected:
  QtClipboardTest() {
    ensureGui();
    clipboard_ = makeQtClipboard();
    clipboard_->setChangedHandler([this] { ++changes_; });
  }

  QString read() {
    std::optional<QString> text;
    clipboard_->requestText([&](const ClipboardReading& got) {
      text = got.tooLong > 0 ? u"(%1)"_s.arg(got.tooLong) : got.text.value_or(u"(failed)"_s);
    });
    EXPECT_TRUE(waitFor([&] { return text.has_value(); }));
    return text.value_or(u"(no answer)"_s);
  }
  // Makes the clipboard use these limits for reading.
  void limit(X11ClipboardReader::Options limits) {
    clipboard_ = std::make_unique<QtClipboard>(*QGuiApplication::clipboard(),
                                               std::make_unique<X11ClipboardReader>(QString(), limits));
    clipboard_->setChangedHandler([this] { ++changes_; });
  }
  qint64 write(const QString& text) {
    qint64 count = -1;
    clipboard_->setText(text, [&](qint64 changeCount) { count = changeCount; });
    EXPECT_TRUE(waitFor([&] { return count != -1; }));
    return count;
  }
  // Runs a program while the event loop runs; returns its output.
  QByteArray output(const std::vector<std::string>& command) {
    const QString file = folder_.filePath(u"out"_s);
    std::string line = "exec >'" + file.toStdString() + "' 2>&1; exec";
    for (const std::string& word : command) line += " '" + word + "'";
    ChildProcess child = server().spawn({"sh", "-c", line});
    std::atomic<bool> ended = false;
    std::thread waiter([&] {
      child.wait();
      ended = true;
    });
    EXPECT_TRUE(waitFor([&] { return ended.load(); }));
    waiter.join();
    std::ifstream in(file.toStdString(), std::ios::binary);
    return QByteArray::fromStdString({std::istreambuf_iterator<char>(in), {}});
  }
  // xclip and xsel take the clipboard and stay behind as its owner.
  void copyWith(const std::string& program, const QByteArray& utf8) {
    const std::string file = folder_.filePath(u"in"_s).toStdString();
    std::ofstream(file, std::ios::binary).write(utf8.constData(), utf8.size());
    const int before = changes_;
    const std::string command = program == "xsel" ? "xsel -b -i <'" : "xclip -selection clipboard -i <'";
    ASSERT_EQ(server().run({"sh", "-c", command + file + "'"}), 0);
    ASSERT_TRUE(waitFor([&] { return changes_ > before; }));
  }

  QTemporaryDir folder_;
  std::unique_ptr<Clipboard> clipboard_;
  int changes_ = 0;
};

}  // namespace vantora
