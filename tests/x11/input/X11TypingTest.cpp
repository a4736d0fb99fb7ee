// Text that a viewer types into a real application.
#include <QFile>
#include <QTemporaryDir>

#include "base/QtScheduler.h"
#include "main/control/input/InputInjector.h"
#include "platform/x11/X11Connection.h"
#include "tests/x11/input/X11InputFixture.h"

namespace vantora::testx11 {
namespace {

using namespace Qt::Literals::StringLiterals;

// The key and the Shift state of each character on a US keyboard.
std::pair<QString, bool> keyFor(QChar character) {
  static const QString shifted = u"!@#$%^&*()_+{}|:\"<>?"_s;
  static const QString plain = u"1234567890-=[]\\;',./"_s;
  static const QMap<QChar, QString> names = {
      {u'-', u"Minus"_s},      {u'=', u"Equal"_s},     {u'[', u"BracketLeft"_s}, {u']', u"BracketRight"_s},
      {u'\\', u"Backslash"_s}, {u';', u"Semicolon"_s}, {u'\'', u"Quote"_s},      {u',', u"Comma"_s},
      {u'.', u"Period"_s},     {u'/', u"Slash"_s},     {u' ', u"Space"_s},       {u'\n', u"Enter"_s},
      {u'\t', u"Tab"_s}};
  const qsizetype at = shifted.indexOf(character);
  if (at >= 0) return {keyFor(plain[at]).first, true};
  if (character.isLetter()) return {u"Key"_s + character.toUpper(), character.isUpper()};
  if (character.isDigit()) return {u"Digit"_s + character, false};
  return {names.value(character), false};
}

class X11TypingTest : public X11InputFixture {
 protected:
  void SetUp() override {
    X11InputFixture::SetUp();
    window_.reset();  // It would cover the terminal.
    injector_ = std::make_unique<InputInjector>(*displays_, *input_, scheduler_);
    ASSERT_TRUE(folder_.isValid());
  }
  QString path(const QString& name) const { return folder_.filePath(name); }
  QByteArray content(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  }
  static bool waitUntil(const std::function<bool()>& condition) {
    testloop::Timeout timeout;
    while (!condition()) {
      if (timeout.isOver()) return false;
      ::poll(nullptr, 0, 5);
    }
    return true;
  }
  // Whether a window is under the pointer, so that it gets the keys.
  bool windowUnderPointer() {
    xcb_connection_t* const connection = person_.open();
    if (connection == nullptr) return false;
    const auto pointer =
        person_.reply<xcb_query_pointer_reply_t>(xcb_query_pointer_unchecked(connection, person_.screen().root));
    return pointer && pointer->child != XCB_NONE;
  }
  void type(const QString& text) {
    for (const QChar character : text) {
      const auto [name, shift] = keyFor(character);
      ASSERT_FALSE(name.isEmpty()) << int{character.unicode()};
      injector_->key(name, true, {{u"shift"_s, shift}});
      injector_->key(name, false, {{u"shift"_s, shift}});
    }
  }

  QTemporaryDir folder_;
  X11Connection person_{server_.display()};
  QtScheduler scheduler_;
  std::unique_ptr<InputInjector> injector_;
};

TEST_F(X11TypingTest, typesIntoATerminal) {
  // The terminal creates a file when it is ready; the keyboard focus follows the pointer.
  const std::string script = "stty -icanon -echo min 1; touch " + path(u"ready"_s).toStdString() + "; exec cat > " +
                             path(u"typed"_s).toStdString();
  injector_->move(0.5, 0.5);
  const ChildProcess terminal =
      server_.spawn({"xterm", "-geometry", "200x80+0+0", "-fn", "fixed", "-e", "sh", "-c", script});
  // Its program may run before its window exists.
  ASSERT_TRUE(waitUntil([this] { return QFile::exists(path(u"ready"_s)) && windowUnderPointer(); }));

  const QString text =
      u"The quick brown FOX jumps over 13 lazy dogs.\n"
      u"1234567890-=[]\\;',./ !@#$%^&*()_+{}|:\"<>?\n"
      u"aaAAbBbB\tzyx ZYX\n"_s;
  type(text);
  EXPECT_TRUE(waitUntil([&] { return content(u"typed"_s).size() >= text.size(); }));
  EXPECT_EQ(content(u"typed"_s), text.toLatin1());
}

}  // namespace
}  // namespace vantora::testx11
