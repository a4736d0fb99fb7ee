#include <gtest/gtest.h>

#include "platform/linux/support/ReplacedSettings.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(ReplacedSettingsTest, takesNotesOutOfTheOutputAndLeavesTheRest) {
  QString output =
      u"Welcome\n\x1Eone\x1FIt's light\x1F dark\x1E"
      u"applied\n\x1Etwo\x1F\x1Fx\x1E\x1Eone\x1F"
      u"a\x1F"
      u"b\x1E"_s;
  const ReplacedSettings settings = takeReplacedSettings(output);
  EXPECT_EQ(output, u"Welcome\napplied\n"_s);
  EXPECT_EQ(settings.size(), 2);
  EXPECT_EQ(settings[u"one"_s], (ReplacedSetting{.previous = u"a"_s, .replacement = u"b"_s})) << "the last one counts";
  EXPECT_EQ(settings[u"two"_s], (ReplacedSetting{.previous = QString(), .replacement = u"x"_s}));
}

TEST(ReplacedSettingsTest, findsNothingInOutputWithoutNotes) {
  for (const QString& text :
       {QString(), u"plain\n"_s, u"\x1E"_s, u"\x1Eone\x1Ftwo\x1E"_s, u"\x1Eone\x1Ftwo\x1Fthree"_s}) {
    QString output = text;
    EXPECT_TRUE(takeReplacedSettings(output).isEmpty());
    EXPECT_EQ(output, text);
  }
}

TEST(ReplacedSettingsTest, offersNoWayBackToNothing) {
  const QString none = settingFunctions({});
  EXPECT_EQ(settingFunctions({{u"scheme"_s, {.previous = QString(), .replacement = u"dark"_s}}}), none);
  EXPECT_TRUE(settingFunctions({{u"scheme"_s, {.previous = u"light"_s, .replacement = u"dark"_s}}})
                  .contains(u"'scheme=dark') next='light' ;;\n"_s));
}

}  // namespace
}  // namespace vantora
