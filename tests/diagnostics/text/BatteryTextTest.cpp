#include "Diagnostics/text/BatteryText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(BatteryTextTest, readsCyclesAndMaximumCapacity) {
  const Battery battery = parsePowerProfile(
      u"Power:\n    Battery Information:\n      Health Information:\n          Cycle Count: 213\n          Condition: "
      u"Normal\n"
      "          Maximum Capacity: 87%\n      Full Charge Capacity (mAh): 1\n      Design Capacity (mAh): 2\n"_s);
  EXPECT_EQ(toJson(battery), QJsonObject({{u"cycleCount"_s, 213}, {u"healthPct"_s, 87}}));
}

TEST(BatteryTextTest, worksOutHealthFromCapacities) {
  const QString text = u"Full Charge Capacity (mAh): 4505\nDesign Capacity (mAh): 5000"_s;
  EXPECT_EQ(parsePowerProfile(text).healthPct, 90) << "90.1";
  EXPECT_FALSE(parsePowerProfile(u"Full Charge Capacity (mAh): 4505"_s).healthPct);
  EXPECT_FALSE(parsePowerProfile(u"Full Charge Capacity (mAh): 4505\nDesign Capacity (mAh): 0"_s).healthPct);
}

TEST(BatteryTextTest, healthRoundsHalvesAwayFromZero) {
  EXPECT_EQ(healthPercent(905, 1000), 91) << "90.5";
  EXPECT_EQ(healthPercent(904, 1000), 90);
  EXPECT_EQ(healthPercent(1040, 1000), 104);
  EXPECT_FALSE(healthPercent(1, 0));
  EXPECT_FALSE(healthPercent(-1, 10));
  EXPECT_FALSE(healthPercent(1e9, 1));
}

TEST(BatteryTextTest, noBatteryIsAnEmptyObject) {
  EXPECT_EQ(toJson(parsePowerProfile(u"Power:\n    AC Charger Information:\n      Connected: Yes"_s)), QJsonObject());
}

TEST(BatteryTextTest, readsTemperatures) {
  EXPECT_EQ(parseRawTemperature(u"305"_s), 30.5);
  EXPECT_EQ(parseRawTemperature(u"-15"_s), -1.5);
  EXPECT_FALSE(parseRawTemperature(u"30.5"_s));
  EXPECT_FALSE(parseRawTemperature(QString()));
  EXPECT_EQ(parseTemperature(u"30.46 C"_s), 30.5);
  EXPECT_FALSE(parseTemperature(u"warm"_s));
}

}  // namespace
}  // namespace vantora::Diagnostics
