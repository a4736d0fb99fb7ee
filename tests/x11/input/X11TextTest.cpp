// Texts with any characters, as applications get them.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <QFile>
#include <QTemporaryDir>

#include "base/QtScheduler.h"
#include "main/control/input/KeyQueue.h"
#include "platform/x11/X11Connection.h"
#include "tests/fakes/EventLoop.h"
#include "tests/x11/input/X11InputFixture.h"
#include "tests/x11/support/KeyDecoder.h"

namespace vantora::testx11 {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kAltRight = 108;
constexpr std::uint8_t kPersonsKeyboard = 7;

class X11TextTest : public X11InputFixture {
 protected:
  void SetUp() override {
    testloop::ensureApplication();
    X11InputFixture::SetUp();
    queue_ = std::make_unique<KeyQueue>(*input_, scheduler_);
    // A key of the new keyboard makes it the current one.
    EXPECT_TRUE(key("KeyA", true) && key("KeyA", false));
    map_ = decoder().wholeMap();
    window().clear();
  }
  KeyDecoder decoder() const { return KeyDecoder(server_.display()); }
  void start(const QString& text) {
    queue_->type(text, [this](const TypedText& result) { results_.push_back(result); });
  }
  // Types a text to its end; how much of it was typed.
  std::size_t type(const QString& text) {
    const std::size_t before = results_.size();
    start(text);
    EXPECT_TRUE(testloop::waitFor([&] { return results_.size() > before; }));
    return results_.empty() ? 0 : results_.back().typed;
  }
  // The characters of the key presses, under the present map.
  QString seen() {
    const KeyDecoder translate(server_.display());
    QString text;
    for (const SeenEvent& event : window().ofType({XCB_KEY_PRESS})) {
      const std::uint32_t keysym = translate.keysym(event.detail, event.state);
      if (keysym == 0xff0d || keysym == 0xff09) {
        text += keysym == 0xff0d ? u'\n' : u'\t';
      } else if (const char32_t character = KeyDecoder::character(keysym)) {
        text += QString::fromUcs4(&character, 1);
      }
    }
    return text;
  }
  void setLayout(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"setxkbmap"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ASSERT_EQ(server_.run(command), 0);
    EXPECT_TRUE(key("KeyA", true) && key("KeyA", false));
    map_ = decoder().wholeMap();
    window().clear();
  }
  // A key that types the character; 0: none.
  int keyOf(char16_t character) {
    constexpr xcb_keysym_t kUnicode = 0x01000000;
    int key = 255;
    while (key > 0 && window().keysym(key) != kUnicode + character) --key;
    return key;
  }
  bool isGivenBack() {
    return testloop::waitFor([this] { return decoder().wholeMap() == map_; });
  }

  // A key of the server's own keyboard, a device beside that of the test extension.
  void personsKeyboard(int keycode, bool down) {
    xcb_connection_t* const connection = window().connection();
    constexpr std::string_view kName = "XInputExtension";
    const auto extension = xcbOwned(
        xcb_query_extension_reply(connection, xcb_query_extension(connection, kName.size(), kName.data()), nullptr));
    ASSERT_TRUE(extension && extension->present);
    const int type = extension->first_event + (down ? 1 : 2);
    const auto error = xcbOwned(xcb_request_check(
        connection, xcb_test_fake_input_checked(connection, static_cast<std::uint8_t>(type),
                                                static_cast<std::uint8_t>(keycode), 0, 0, 0, 0, kPersonsKeyboard)));
    EXPECT_FALSE(error);
  }
  void tapOnThePersonsKeyboard() {
    personsKeyboard(kKeyA, true);
    personsKeyboard(kKeyA, false);
  }

  QtScheduler scheduler_;
  std::unique_ptr<KeyQueue> queue_;
  std::vector<TypedText> results_;
  QString map_;
};

TEST_F(X11TextTest, typesAnyCharacterOnAnyLayout) {
  const QString text = u"Hello, World! 09 ^`'\"~@{}[]|\\€<>#$%&\tÄöüßéèñçÇłŻ¿\nЖукя Ωλ 中文字 あ 😀👍 …—“”\u0301"_s;
  for (const char* layout : {"us", "de", "fr", "es", "pl"}) {
    setLayout({layout});
    EXPECT_EQ(type(text), static_cast<std::size_t>(text.toUcs4().size())) << layout;
    EXPECT_EQ(seen(), text) << layout;
    EXPECT_TRUE(window().keysDown().empty()) << layout;
  }
  input_->releaseAll();
  EXPECT_TRUE(isGivenBack());
}

TEST_F(X11TextTest, usesTheKeysThatTheLayoutHas) {
  setLayout({"de"});
  EXPECT_EQ(type(u"aZ1@{€ß?Ä|~"_s), 11U);
  EXPECT_EQ(seen(), u"aZ1@{€ß?Ä|~"_s);
  EXPECT_EQ(decoder().wholeMap(), map_);
}

TEST_F(X11TextTest, usesTheLayoutThatIsSwitchedOn) {
  setLayout({"us,ru"});
  xcb_connection_t* const connection = window().connection();
  std::free(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
  xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, 1, 0, 0, 0);
  window().clear();
  EXPECT_EQ(type(u"привет"_s), 6U);
  EXPECT_EQ(decoder().wholeMap(), map_);
  EXPECT_EQ(type(u" Wow"_s), 4U);
  EXPECT_EQ(seen(), u"привет Wow"_s);
}

TEST_F(X11TextTest, thePersonsKeysChangeNothing) {
  setLayout({"de"});
  window().personKey(kCapsLock, true);
  window().personKey(kCapsLock, false);
  for (const int held : {kShiftLeft, kControlRight, kAltRight}) {
    window().personKey(held, true);
    window().clear();
    EXPECT_EQ(type(u"aB@é中€"_s), 6U);
    EXPECT_EQ(seen(), u"aB@é中€"_s) << held;
    for (const SeenEvent& event : window().keys()) {
      if (event.detail == held) continue;
      EXPECT_EQ(event.state & (XCB_MOD_MASK_LOCK | XCB_MOD_MASK_CONTROL), 0) << "of " << event.detail;
    }
    EXPECT_EQ(window().keysDown(), std::set<int>{held});
    EXPECT_NE(window().pointer().mask & XCB_MOD_MASK_LOCK, 0);
    window().personKey(held, false);
  }
}

// As sticky keys lock them.
TEST_F(X11TextTest, lockedModifiersChangeNothing) {
  setLayout({"de"});
  xcb_connection_t* const connection = window().connection();
  std::free(xcb_xkb_use_extension_reply(connection, xcb_xkb_use_extension(connection, 1, 0), nullptr));
  const auto lock = [connection](int mask, bool on) {
    xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, static_cast<std::uint8_t>(mask),
                             static_cast<std::uint8_t>(on ? mask : 0), 0, 0, 0, 0, 0);
  };
  for (const int mask : {XCB_MOD_MASK_SHIFT, XCB_MOD_MASK_CONTROL, XCB_MOD_MASK_1, XCB_MOD_MASK_4, XCB_MOD_MASK_5}) {
    lock(mask, true);
    window().clear();
    EXPECT_EQ(type(u"a1"_s), 2U);
    EXPECT_TRUE(key("KeyB", true) && key("KeyB", false));
    EXPECT_EQ(seen(), u"a1b"_s) << mask;
    for (const SeenEvent& event : window().keys()) EXPECT_EQ(event.state & 0xff, 0) << mask;
    EXPECT_EQ(window().pointer().mask & 0xff, mask);
    lock(mask, false);
  }
}

TEST_F(X11TextTest, theViewersHeldModifiersChangeNothing) {
  EXPECT_TRUE(key("KeyB", true, {.shift = true, .control = true}));
  window().clear();
  EXPECT_EQ(type(u"aB"_s), 2U);
  EXPECT_EQ(seen(), u"aB"_s);
  EXPECT_EQ(window().keysDown(), std::set<int>{}) << "Shift would change the person's keys";
  EXPECT_TRUE(key("KeyB", false));
  EXPECT_TRUE(window().keysDown().empty());
}

TEST_F(X11TextTest, keepsTheOrderOfTextsAndKeys) {
  start(u"x€"_s);
  queue_->key(keyCodeOf("KeyQ"), true, {});
  queue_->key(keyCodeOf("KeyQ"), false, {});
  start(u"中y"_s);
  EXPECT_TRUE(testloop::waitFor([this] { return results_.size() == 2; }));
  EXPECT_EQ(seen(), u"x€q中y"_s);
}

TEST_F(X11TextTest, stopsWhenControlEnds) {
  start(u"中a"_s.repeated(1000));
  EXPECT_TRUE(testloop::waitFor([this] { return seen().size() > 50; }));
  queue_->releaseAll();
  ASSERT_EQ(results_.size(), 1U);
  EXPECT_EQ(results_[0].reason, u"control ended"_s);
  EXPECT_LT(results_[0].typed, 2000U);
  EXPECT_EQ(seen().size(), static_cast<qsizetype>(results_[0].typed));
  EXPECT_TRUE(window().keysDown().empty());
  EXPECT_TRUE(isGivenBack());
  EXPECT_TRUE(seen().size() <= static_cast<qsizetype>(results_[0].typed)) << "nothing came later";
}

TEST_F(X11TextTest, givesItsKeysBackAtTheEnd) {
  EXPECT_EQ(type(u"中文"_s), 2U);
  EXPECT_NE(decoder().wholeMap(), map_);
  queue_.reset();
  input_.reset();
  EXPECT_EQ(decoder().wholeMap(), map_);
}

TEST_F(X11TextTest, takesTheKeysThatAKilledProgramLeft) {
  const pid_t killed = ::fork();
  if (killed == 0) {
    // Only what a program does that dies right after.
    const auto other = makeX11Input(server_.display(), *displays_);
    (void)other->type(U"Ж中文");
    const bool alive = testx11::usable(*other);
    ::_exit(alive ? 0 : 1);
  }
  int status = 0;
  ::waitpid(killed, &status, 0);
  ASSERT_EQ(status, 0);
  ASSERT_NE(decoder().wholeMap(), map_);
  EXPECT_EQ(type(u"é中"_s), 2U);
  EXPECT_EQ(seen(), u"é中"_s);
  input_->releaseAll();
  EXPECT_TRUE(isGivenBack());
}

TEST_F(X11TextTest, goesOnUnderAnotherLayout) {
  EXPECT_EQ(type(u"中"_s), 1U);
  EXPECT_EQ(seen(), u"中"_s);
  setLayout({"de"});
  EXPECT_EQ(type(u"y中@z"_s), 4U);
  EXPECT_EQ(seen(), u"y中@z"_s);
  input_->releaseAll();
  EXPECT_TRUE(isGivenBack());
}

TEST_F(X11TextTest, saysThatTheServerIsGone) {
  start(u"a"_s.repeated(200));
  server_.kill();
  EXPECT_TRUE(testloop::waitFor([this] { return !results_.empty(); }));
  EXPECT_EQ(results_.at(0).reason, u"desktop unavailable"_s);
}

TEST_F(X11TextTest, leavesAKeyToWhoeverGaveItAnotherMeaning) {
  EXPECT_EQ(type(u"中"_s), 1U);
  const int place = keyOf(u'中');
  ASSERT_NE(place, 0);
  constexpr xcb_keysym_t kCyrillicZhe[] = {0x06d6, 0x06f6};
  xcb_change_keyboard_mapping(window().connection(), 1, static_cast<xcb_keycode_t>(place), 2, kCyrillicZhe);
  ASSERT_EQ(window().keysym(place), kCyrillicZhe[0]);
  queue_.reset();
  input_.reset();
  EXPECT_EQ(window().keysym(place), kCyrillicZhe[0]);
}

TEST_F(X11TextTest, leavesTheKeysOfAnotherHostAlone) {
  EXPECT_EQ(type(u"中"_s), 1U);
  const int place = keyOf(u'中');
  ASSERT_NE(place, 0);
  const auto other = makeX11Input(server_.display(), *displays_);
  EXPECT_TRUE(other->type(U"文").possible);
  EXPECT_TRUE(testx11::usable(*other));
  EXPECT_EQ(keyOf(u'中'), place);
  EXPECT_NE(keyOf(u'文'), 0);
  input_.reset();
  EXPECT_EQ(keyOf(u'中'), 0);
  EXPECT_NE(keyOf(u'文'), 0);
}

TEST_F(X11TextTest, thePersonsKeyboardMayHaveAnotherLayout) {
  ASSERT_EQ(server_.run({"setxkbmap", "-device", std::to_string(kPersonsKeyboard), "de"}), 0);
  for (int again = 0; again < 2; ++again) {
    tapOnThePersonsKeyboard();
    ASSERT_EQ(window().keysym(29), xcb_keysym_t{'z'});
    window().clear();
    EXPECT_EQ(type(u"zy@{中"_s), 5U);
    EXPECT_EQ(seen(), u"zy@{中"_s);
  }
}

TEST_F(X11TextTest, modifiersHeldOnThePersonsKeyboardChangeNothing) {
  for (const int held : {kShiftLeft, kShiftRight, kControlLeft, kAltRight}) {
    personsKeyboard(held, true);
    ASSERT_EQ(window().keysDown(), std::set<int>{held});
    window().clear();
    EXPECT_EQ(type(u"aB中"_s), 3U);
    EXPECT_TRUE(key("KeyB", true) && key("KeyB", false));
    EXPECT_EQ(seen(), u"aB中b"_s) << held;
    EXPECT_EQ(window().keysDown(), std::set<int>{held});
    personsKeyboard(held, false);
    EXPECT_TRUE(window().keysDown().empty()) << held;
    window().clear();
    EXPECT_EQ(type(u"aB"_s), 2U);
    EXPECT_EQ(seen(), u"aB"_s) << held;
  }
}

// More different characters than there are keys without a meaning.
TEST_F(X11TextTest, aTerminalGetsExactlyTheText) {
  window_.reset();  // It would cover the terminal.
  const QTemporaryDir folder;
  ASSERT_TRUE(folder.isValid());
  const QString typed = folder.filePath(u"typed"_s);
  const std::string script = "stty -icanon -echo min 1; touch " + folder.filePath(u"ready"_s).toStdString() +
                             "; exec cat > " + typed.toStdString();
  const ChildProcess terminal({"xterm", "-u8", "-geometry", "170x58+0+0", "-fn", "fixed", "-e", "sh", "-c", script},
                              {server_.displayVariable(), "LC_ALL=C.UTF-8"});
  X11Connection person(server_.display());
  ASSERT_TRUE(testloop::waitFor([&] {
    xcb_connection_t* const connection = person.open();
    if (connection == nullptr || !QFile::exists(folder.filePath(u"ready"_s))) return false;
    move(512, 384);  // The keyboard focus follows the pointer.
    const auto pointer =
        person.reply<xcb_query_pointer_reply_t>(xcb_query_pointer_unchecked(connection, person.screen().root));
    return pointer && pointer->child != XCB_NONE;
  }));

  QString text = u"The quick brown FOX, 100 % {of} [it] \\ 'x' \"y\" ~/z@host.de €5\tÄÖÜäöüß éèñ ЖЩЫ žřů 中文 😀\n"_s;
  for (char32_t character = U'一'; text.toUcs4().size() < 160; ++character) text += QString::fromUcs4(&character, 1);
  const QString line = u"Die Straße nach Łódź kostet 7,50 € – Привет, 世界! 👍 | Ctrl+C (nothing) <b>&amp;</b>\r\n"_s;
  while (text.toUcs4().size() + line.size() < 4000) text += line;
  text += u"x"_s.repeated(4000 - text.toUcs4().size() + text.count(u"\r\n"_s));

  EXPECT_EQ(type(text), 4000U);
  const QByteArray expected = text.replace(u"\r\n"_s, u"\n"_s).toUtf8();
  const auto content = [&typed] {
    QFile file(typed);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  };
  EXPECT_TRUE(testloop::waitFor([&] { return content().size() >= expected.size(); }));
  EXPECT_EQ(QString::fromUtf8(content()).toStdString(), QString::fromUtf8(expected).toStdString());
}

}  // namespace
}  // namespace vantora::testx11
