#include <gtest/gtest.h>

#include "platform/x11/SpareKeys.h"

namespace vantora {
namespace {

using namespace std::chrono_literals;

class SpareKeysTest : public testing::Test {
 protected:
  SpareKeysTest() { update({8, 93}); }
  void update(const std::vector<Keycode>& spare) {
    keys_.update(spare, [this](Keycode keycode) { return others_[keycode]; });
  }
  std::vector<Keycode> assign(const std::vector<xcb_keysym_t>& wanted) { return keys_.assign(wanted, now_); }
  void use(xcb_keysym_t symbol) {
    const auto place = keys_.find(symbol);
    ASSERT_TRUE(place) << symbol;
    keys_.noteUse(place->keycode, now_);
  }
  bool has(xcb_keysym_t symbol) const { return keys_.find(symbol).has_value(); }

  SpareKeys keys_;
  SpareKeys::Clock::time_point now_{1h};
  std::map<Keycode, SpareKeys::Symbols> others_;  // On the server.
};

TEST_F(SpareKeysTest, putsTwoSymbolsOnAKey) {
  EXPECT_FALSE(keys_.holdsAny());
  EXPECT_EQ(assign({101, 102, 103}), (std::vector<Keycode>{8, 93}));
  EXPECT_EQ(keys_.symbolsOf(8), (SpareKeys::Symbols{101, 102}));
  EXPECT_EQ(keys_.symbolsOf(93), (SpareKeys::Symbols{103, 0}));
  EXPECT_EQ(keys_.find(102)->keycode, 8);
  EXPECT_TRUE(keys_.find(102)->shift);
  EXPECT_FALSE(keys_.find(101)->shift);
  EXPECT_TRUE(keys_.holdsAny());
}

TEST_F(SpareKeysTest, changesNothingForSymbolsThatItHas) {
  (void)assign({101, 102});
  EXPECT_TRUE(assign({102, 101}).empty());
  EXPECT_EQ(assign({101, 103}), std::vector<Keycode>{93});
}

TEST_F(SpareKeysTest, keepsASymbolForAWhileAfterItsUse) {
  EXPECT_EQ(assign({101, 102, 103, 104, 105}).size(), 2U);
  EXPECT_FALSE(has(105));
  EXPECT_TRUE(has(104));
  EXPECT_EQ(keys_.untilFree(now_), SpareKeys::kSettle);
  now_ += SpareKeys::kSettle - 1ms;
  EXPECT_TRUE(assign({105}).empty());
  use(101);
  now_ += 1ms;
  EXPECT_EQ(keys_.untilFree(now_), 0ms);
  EXPECT_EQ(assign({105}), std::vector<Keycode>{93}) << "103 was used longest ago";
  EXPECT_TRUE(has(101) && has(105) && !has(103) && !has(104));
}

// Else the head of a text could wait for keys that are kept for its rest.
TEST_F(SpareKeysTest, servesTheFirstSymbolsFirst) {
  (void)assign({101, 102, 103, 104});
  now_ += 1min;
  EXPECT_EQ(assign({105, 101, 103}), std::vector<Keycode>{8});
  EXPECT_TRUE(has(105) && has(101) && has(103));
  now_ += 1min;
  (void)assign({101, 102, 105, 106});
  EXPECT_TRUE(has(101) && has(102) && has(105) && has(106));
}

TEST_F(SpareKeysTest, noticesWhatTheServerChanged) {
  (void)assign({101, 103, 104});
  others_ = {{8, {101, 103}}, {93, {104, 0}}};
  update({});
  EXPECT_TRUE(has(101) && has(103) && has(104));
  others_[93] = {7, 0};
  update({12});
  EXPECT_TRUE(has(101) && !has(104));
  EXPECT_EQ(keys_.keys().size(), 2U);
  update({8, 12});
  EXPECT_FALSE(keys_.holdsAny());
  EXPECT_EQ(assign({104}), std::vector<Keycode>{8});
}

TEST_F(SpareKeysTest, takesAllSymbolsAway) {
  (void)assign({101, 102, 103});
  EXPECT_EQ(keys_.clear(), (std::vector<Keycode>{8, 93}));
  EXPECT_FALSE(keys_.holdsAny());
  EXPECT_EQ(keys_.symbolsOf(8), SpareKeys::Symbols{});
  EXPECT_TRUE(keys_.clear().empty());
}

TEST_F(SpareKeysTest, hasNoPlaceWithoutKeys) {
  update({});
  EXPECT_TRUE(keys_.keys().empty());
  EXPECT_TRUE(assign({101}).empty());
  EXPECT_EQ(keys_.untilFree(now_), 0ms);
}

}  // namespace
}  // namespace vantora
