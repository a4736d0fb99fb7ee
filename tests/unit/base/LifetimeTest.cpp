#include <gtest/gtest.h>

#include <QString>
#include <memory>
#include <optional>
#include <thread>

#include "base/Lifetime.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

TEST(Lifetime, callsAsLongAsTheObjectLives) {
  std::optional<Lifetime> life(std::in_place);
  QString told;
  const std::function<void(const QString&)> tell = life->guard([&told](const QString& text) { told += text; });
  tell(u"a"_s);
  tell(u"b"_s);
  life.reset();
  tell(u"c"_s);
  EXPECT_EQ(told, u"ab"_s);
}

TEST(Lifetime, aHandleOutlivesTheObject) {
  auto life = std::make_unique<Lifetime>();
  const Lifetime::Handle alive = life->handle();
  EXPECT_TRUE(alive);
  life.reset();
  EXPECT_FALSE(alive);
}

TEST(Lifetime, mayEndBeforeTheDestruction) {
  Lifetime life;
  int calls = 0;
  const auto call = life.guard([&calls] { ++calls; });
  life.end();
  call();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(life.handle());
}

TEST(Lifetime, theObjectMayEndWithinItsCall) {
  auto life = std::make_unique<Lifetime>();
  int calls = 0;
  const auto call = life->guard([&] {
    ++calls;
    life.reset();
  });
  call();
  call();
  EXPECT_EQ(calls, 1);
}

TEST(Lifetime, takesWhatOtherThreadsSayToTheMainThread) {
  testloop::ensureApplication();
  const Lifetime life;
  QString told;
  std::thread::id ranOn;
  std::thread([tell = life.onMain([&](const QString& text, int number) {
    told = text + QString::number(number);
    ranOn = std::this_thread::get_id();
  })] {
    QString text = u"piece "_s;
    tell(text, 7);
    text = u"changed later"_s;
  }).join();
  EXPECT_TRUE(told.isEmpty());
  ASSERT_TRUE(testloop::waitFor([&] { return !told.isEmpty(); }));
  EXPECT_EQ(told, u"piece 7"_s);
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(Lifetime, dropsWhatArrivesOnTheMainThreadAfterTheEnd) {
  testloop::ensureApplication();
  auto life = std::make_unique<Lifetime>();
  int calls = 0;
  const auto call = life->onMain([&calls] { ++calls; });
  std::thread(call).join();
  life.reset();
  std::thread(call).join();
  bool later = false;
  postToMain([&later] { later = true; });
  ASSERT_TRUE(testloop::waitFor([&] { return later; }));
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace vantora
