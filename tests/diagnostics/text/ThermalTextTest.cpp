#include "Diagnostics/text/ThermalText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

QString stateAt(int milliCelsius) {
  return thermalState(
      {{30'000, {}},
       {milliCelsius, {{Trip::Kind::passive, 80'000}, {Trip::Kind::hot, 95'000}, {Trip::Kind::critical, 105'000}}}});
}

TEST(ThermalTextTest, theHighestLimitReachedNamesTheState) {
  EXPECT_EQ(stateAt(79'999), u"nominal"_s);
  EXPECT_EQ(stateAt(80'000), u"fair"_s);
  EXPECT_EQ(stateAt(95'000), u"serious"_s);
  EXPECT_EQ(stateAt(105'000), u"critical"_s);
}

TEST(ThermalTextTest, withoutLimitsNothingIsKnown) {
  EXPECT_EQ(thermalState({}), u"unknown"_s);
  EXPECT_EQ(thermalState({{90'000, {}}}), u"unknown"_s);
  EXPECT_EQ(thermalState({{20'000, {{Trip::Kind::critical, 0}, {Trip::Kind::hot, -274'000}}}}), u"unknown"_s);
}

}  // namespace
}  // namespace vantora::Diagnostics
