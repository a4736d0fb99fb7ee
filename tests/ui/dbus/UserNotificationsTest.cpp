#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSet>

#include "tests/ui/dbus/BusFixture.h"
#include "tests/ui/support/FakeNotificationServer.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testui::FakeNotificationServer;

class UserNotificationsTest : public BusFixture {
 protected:
  void startBundled() {
    info_.insert(u"BundleIdentifier"_s, u"com.vantora.host"_s);
    start();
  }
  void serve(const QStringList& abilities = {u"body"_s, u"actions"_s}) {
    server_ = std::make_unique<FakeNotificationServer>(server_ ? bus_.connect() : serverBus_, abilities);
  }
  void deliver(const QString& body) { interface_->deliverHostNotification(u"Chat from VIEWER"_s, body); }
  bool shown(int count) {
    return waitFor([this, count] { return server_->shown().size() >= count; });
  }

  QDBusConnection serverBus_ = bus_.connect();
  std::unique_ptr<FakeNotificationServer> server_;
};

TEST_F(UserNotificationsTest, showsTitleAndBodyUnderTheProgramsName) {
  serve();
  startBundled();
  deliver(u"Hello \U0001F680"_s);
  ASSERT_TRUE(shown(1));
  const auto& one = server_->shown().first();
  EXPECT_EQ(one.application, u"Vantora Host"_s);
  EXPECT_EQ(one.title, u"Chat from VIEWER"_s);
  EXPECT_EQ(one.body, u"Hello \U0001F680"_s);
  EXPECT_EQ(one.hints.value(u"desktop-entry"_s).toString(), u"vantora-host"_s);
  EXPECT_EQ(one.hints.value(u"x-vantora-application"_s).toString(), u"com.vantora.host"_s);
  EXPECT_EQ(one.hints.value(u"sound-name"_s).toString(), u"message-new-instant"_s);
  EXPECT_EQ(one.timeout, -1);
}

TEST_F(UserNotificationsTest, showsOnePerMessageAndReplacesNone) {
  serve();
  startBundled();
  for (int i = 0; i < 5; ++i) deliver(u"same"_s);
  ASSERT_TRUE(shown(5));
  settle();
  EXPECT_EQ(server_->shown().size(), 5);
  QSet<QString> identifiers;
  static const QRegularExpression kForm(
      u"^vantora\\.chat\\.[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"_s);
  for (const auto& one : server_->shown()) {
    EXPECT_EQ(one.replaces, 0U);
    const QString identifier = one.hints.value(u"x-vantora-identifier"_s).toString();
    EXPECT_TRUE(kForm.match(identifier).hasMatch()) << identifier.toStdString();
    identifiers.insert(identifier);
  }
  EXPECT_EQ(identifiers.size(), 5);
}

TEST_F(UserNotificationsTest, keepsTheOrderOfTheMessages) {
  serve();
  start();
  for (int i = 0; i < 20; ++i) deliver(QString::number(i));
  ASSERT_TRUE(shown(20));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(server_->shown().at(i).body, QString::number(i));
}

TEST_F(UserNotificationsTest, waitsATenthOfASecondAsAnInstalledProgram) {
  serve();
  startBundled();
  QElapsedTimer clock;
  clock.start();
  deliver(u"x"_s);
  ASSERT_TRUE(shown(1));
  EXPECT_GE(clock.elapsed(), 95);
}

TEST_F(UserNotificationsTest, showsThemAtOnceAsABareProgram) {
  serve();
  start();
  deliver(u"x"_s);
  // Sent without a timer: some round trips on the bus are enough.
  for (int i = 0; i < 10 && server_->shown().isEmpty(); ++i) settle();
  ASSERT_EQ(server_->shown().size(), 1);
  EXPECT_EQ(server_->shown().first().title, u"Chat from VIEWER"_s);
  EXPECT_FALSE(server_->shown().first().hints.contains(u"x-vantora-identifier"_s));
}

TEST_F(UserNotificationsTest, sendsTheTextLiterallyToAServerThatReadsMarkup) {
  serve({u"body"_s, u"body-markup"_s});
  start();
  deliver(u"<b>a</b> & <img src=x>"_s);
  ASSERT_TRUE(shown(1));
  EXPECT_EQ(server_->shown().first().body, u"&lt;b&gt;a&lt;/b&gt; &amp; &lt;img src=x&gt;"_s);
}

TEST_F(UserNotificationsTest, doesNotEscapeTheTextForAServerThatDoesNot) {
  serve();
  start();
  deliver(u"a < b & c"_s);
  ASSERT_TRUE(shown(1));
  EXPECT_EQ(server_->shown().first().body, u"a < b & c"_s);
}

TEST_F(UserNotificationsTest, boundsTheLengthOfAText) {
  serve();
  start();
  deliver(u"\U0001F680"_s.repeated(1000000) + QChar(0));
  ASSERT_TRUE(shown(1));
  EXPECT_LE(server_->shown().first().body.size(), 4000);
  EXPECT_TRUE(server_->shown().first().body.startsWith(u"\U0001F680"_s));
}

TEST_F(UserNotificationsTest, opensTheChatWhenPressed) {
  serve();
  start();
  deliver(u"one"_s);
  deliver(u"two"_s);
  ASSERT_TRUE(shown(2));
  settle();
  const QStringList actions = server_->shown().last().actions;
  ASSERT_EQ(actions.size(), 2);
  EXPECT_EQ(actions.first(), u"default"_s);
  server_->press(server_->shown().first().id);
  EXPECT_TRUE(waitFor([this] { return bar().chatWindow().isVisible(); }));
}

TEST_F(UserNotificationsTest, ignoresWhatHappensToOtherNotifications) {
  serve();
  start();
  deliver(u"one"_s);
  ASSERT_TRUE(shown(1));
  settle();
  server_->press(7);
  server_->close(server_->shown().first().id);
  server_->press(server_->shown().first().id);
  settle();
  EXPECT_FALSE(bar().chatWindow().isVisible());
}

TEST_F(UserNotificationsTest, logsAFailureAndContinuesWithoutAServer) {
  startBundled();
  deliver(u"one"_s);
  EXPECT_TRUE(waitFor([this] { return log_.lines().size() == 1; }));
  EXPECT_TRUE(log_.lines().first().startsWith(u"[notify] add error: "_s)) << log_.lines().first().toStdString();
  serve();
  deliver(u"two"_s);
  ASSERT_TRUE(shown(1));
  EXPECT_EQ(server_->shown().first().body, u"two"_s);
}

TEST_F(UserNotificationsTest, doesNotLogAFailureAsABareProgram) {
  start();
  deliver(u"one"_s);
  settle();
  EXPECT_TRUE(log_.lines().isEmpty());
}

TEST_F(UserNotificationsTest, losesNothingOfANewServer) {
  serve();
  start();
  deliver(u"one"_s);
  ASSERT_TRUE(shown(1));
  server_.reset();
  settle();
  server_ = std::make_unique<FakeNotificationServer>(bus_.connect(), QStringList{u"body-markup"_s});
  settle();
  deliver(u"<two>"_s);
  ASSERT_TRUE(shown(1));
  // The new server was asked for its capabilities.
  EXPECT_EQ(server_->shown().first().body, u"&lt;two&gt;"_s);
  EXPECT_EQ(server_->askedForAbilities(), 1);
}

TEST_F(UserNotificationsTest, forgetsTheNumbersOfAServerThatEnded) {
  serve();
  start();
  deliver(u"one"_s);
  ASSERT_TRUE(shown(1));
  settle();
  const uint old = server_->shown().first().id;
  server_.reset();
  settle();
  server_ = std::make_unique<FakeNotificationServer>(bus_.connect());
  settle();
  server_->press(old);
  settle();
  EXPECT_FALSE(bar().chatWindow().isVisible());
}

TEST_F(UserNotificationsTest, showsAllOfABurst) {
  serve();
  startBundled();
  for (int i = 0; i < 1000; ++i) deliver(QString::number(i));
  ASSERT_TRUE(shown(1000));
  settle();
  ASSERT_EQ(server_->shown().size(), 1000);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(server_->shown().at(i).body, QString::number(i));
  EXPECT_TRUE(log_.lines().isEmpty()) << log_.lines().join(u'\n').toStdString();
}

TEST_F(UserNotificationsTest, limitsWaitingNotificationsAndLogsDroppedOnes) {
  serve();
  startBundled();
  deliver(u"first"_s);
  ASSERT_TRUE(shown(1));
  settle();
  server_->fallSilent();
  const int maximum = UserNotifications::kMaxWaiting + UserNotifications::kMaxUnanswered;
  for (int i = 0; i < maximum + 300; ++i) deliver(u"x"_s);
  EXPECT_TRUE(waitFor([this] { return log_.lines().size() == 300; }));
  for (const QString& line : log_.lines()) EXPECT_EQ(line, u"[notify] add error: too many notifications wait"_s);
}

TEST_F(UserNotificationsTest, isNotBlockedByAServerThatNeverReplies) {
  serve();
  UserNotifications notifications(
      bus_.connect(), InfoDictionary({{u"BundleIdentifier"_s, u"com.vantora.host"_s}}), [] {}, 4000);
  notifications.deliverHostNotification(u"t"_s, u"first"_s);
  ASSERT_TRUE(shown(1));
  settle();
  server_->fallSilent();
  QElapsedTimer clock;
  clock.start();
  for (int i = 0; i < 1000; ++i) notifications.deliverHostNotification(u"t"_s, u"x"_s);
  EXPECT_LT(clock.elapsed(), 3500);
  EXPECT_TRUE(waitFor([this] { return log_.lines().size() == 1000; }));
  EXPECT_GE(clock.elapsed(), 3600);  // Qt's timers may fire 5 % too early.
  for (const QString& line : log_.lines()) EXPECT_TRUE(line.startsWith(u"[notify] add error: "_s));
  EXPECT_EQ(log_.lines().filter(u"the notification server does not answer"_s).size(), 800);
  EXPECT_TRUE(waitFor([this] { return server_->shown().size() == 1 + UserNotifications::kMaxUnanswered; }));
  // The next notification is sent again.
  notifications.deliverHostNotification(u"t"_s, u"later"_s);
  EXPECT_TRUE(shown(2 + UserNotifications::kMaxUnanswered));
}

TEST_F(UserNotificationsTest, doesNotWaitForeverForTheCapabilitiesOfAServer) {
  serve({u"body-markup"_s});
  server_->fallSilent();
  start();
  deliver(u"<x>"_s);
  ASSERT_TRUE(shown(1));
  EXPECT_EQ(server_->shown().first().body, u"&lt;x&gt;"_s);
}

}  // namespace
}  // namespace vantora
