#include <gtest/gtest.h>

#include <QTextDocument>

#include "main/ui/DisplayText.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(DisplayTextTest, keepsAnOrdinaryTextAsItIs) {
  EXPECT_EQ(oneLine(u"1080p60 \U0001F680"_s), u"1080p60 \U0001F680"_s);
  EXPECT_EQ(oneLine(QString(200, u'a')), QString(200, u'a'));
}

TEST(DisplayTextTest, putsControlCharactersAndLineBreaksOnOneLine) {
  EXPECT_EQ(oneLine(u"a\r\nb\u2029c\u0007d\u0085e"_s), u"a  b c d e"_s);
}

TEST(DisplayTextTest, endsALongTextInAnEllipsisWithoutCuttingACharacter) {
  EXPECT_EQ(oneLine(QString(201, u'a')), QString(200, u'a') + u'…');
  const QString family = u"\U0001F468\u200D\U0001F469\u200D\U0001F467"_s;
  EXPECT_EQ(oneLine(family.repeated(300)), family.repeated(200) + u'…');
  EXPECT_EQ(oneLine(family.repeated(150)), family.repeated(150));
}

TEST(DisplayTextTest, neverLetsAToolTipBeTakenForAPage) {
  EXPECT_EQ(literalToolTip(u"Preset: auto"_s), u"Preset: auto"_s);
  const QString sly = u"Preset: <img src=file:///etc/passwd><b>x</b>"_s;
  QTextDocument page;
  page.setHtml(literalToolTip(sly));
  EXPECT_TRUE(Qt::mightBeRichText(literalToolTip(sly)));
  EXPECT_EQ(page.toPlainText(), sly);
}

TEST(DisplayTextTest, showsAnAmpersandInAMenu) { EXPECT_EQ(literalMenuText(u"R&D"_s), u"R&&D"_s); }

}  // namespace
}  // namespace vantora
