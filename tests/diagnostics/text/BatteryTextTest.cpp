#include "Diagnostics/text/BatteryText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(BatteryTextTest, healthRoundsHalvesAwayFromZero) {
  EXPECT_EQ(healthPercent(905, 1000), 91) << "90.5";
  EXPECT_EQ(healthPercent(904, 1000), 90);
  EXPECT_EQ(healthPercent(1040, 1000), 104);
  EXPECT_FALSE(healthPercent(1, 0));
  EXPECT_FALSE(healthPercent(-1, 10));
  EXPECT_FALSE(healthPercent(1e9, 1));
}

TEST(BatteryTextTest, leavesOutWhatIsNotKnown) {
  EXPECT_EQ(toJson(Battery{213, 87}), QJsonObject({{u"cycleCount"_s, 213}, {u"healthPct"_s, 87}}));
  EXPECT_EQ(toJson(Battery{}), QJsonObject());
}

TEST(BatteryTextTest, readsTemperatures) {
  EXPECT_EQ(parseRawTemperature(u"305"_s), 30.5);
  EXPECT_EQ(parseRawTemperature(u"-15"_s), -1.5);
  EXPECT_FALSE(parseRawTemperature(u"30.5"_s));
  EXPECT_FALSE(parseRawTemperature(QString()));
}

}  // namespace
}  // namespace vantora::Diagnostics
