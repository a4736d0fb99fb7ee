#include <gtest/gtest.h>

#include <QSet>
#include <QStringList>
#include <random>

#include "main/control/files/SafeFileName.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString safe(const QString& name) { return QString::fromUtf8(safeFileName(name)); }

void expectUsable(const QByteArray& name) {
  EXPECT_FALSE(name.isEmpty());
  EXPECT_LE(name.size(), kMaxFileNameBytes) << name.toStdString();
  EXPECT_FALSE(name.contains('/')) << name.toStdString();
  EXPECT_FALSE(name.contains('\0'));
  EXPECT_FALSE(name.startsWith('.')) << name.toStdString();
  EXPECT_EQ(QString::fromUtf8(name).toUtf8(), name) << "not UTF-8";
  EXPECT_FALSE(QString::fromUtf8(name).contains(QChar::ReplacementCharacter)) << name.toStdString();
}

TEST(SafeFileNameTest, keepsOrdinaryNames) {
  for (const QString& name :
       {u"a.txt"_s, u"README"_s, u"Invoice 2024 (final).pdf"_s, u"archive.tar.gz"_s, u"Größe – 表.txt"_s,
        u"👩‍👩‍👧.png"_s, u"a..b"_s, u"end."_s, u"-rf"_s, u"con"_s, u"~"_s, u"a:b*c?\"<>|"_s, u" x "_s}) {
    EXPECT_EQ(safe(name), name);
  }
}

TEST(SafeFileNameTest, leavesNoSeparator) {
  EXPECT_EQ(safe(u"../../etc/passwd"_s), u"___.._etc_passwd"_s);
  EXPECT_EQ(safe(u"/etc/passwd"_s), u"_etc_passwd"_s);
  EXPECT_EQ(safe(u"C:\\Users\\a.txt"_s), u"C:_Users_a.txt"_s);
  EXPECT_EQ(safe(u"a/"_s), u"a_"_s);
  EXPECT_EQ(safe(u"/"_s), u"_"_s);
}

TEST(SafeFileNameTest, leavesNoNameOfAFolderAboveOrOfTheFolderItself) {
  EXPECT_EQ(safe(u"."_s), u"_"_s);
  EXPECT_EQ(safe(u".."_s), u"__"_s);
  EXPECT_EQ(safe(u"..."_s), u"___"_s);
}

TEST(SafeFileNameTest, hidesNothing) {
  EXPECT_EQ(safe(u".bashrc"_s), u"_bashrc"_s);
  EXPECT_EQ(safe(u"..x.txt"_s), u"__x.txt"_s);
}

TEST(SafeFileNameTest, leavesNoControlCharacters) {
  EXPECT_EQ(safe(u"a\nb\tc\x7f\u0085d.txt"_s), u"a_b_c__d.txt"_s);
  EXPECT_EQ(safe(QString(QChar(0)) + u"a"_s), u"_a"_s);
  EXPECT_EQ(safe(u"a\u2028b\u2029c"_s), u"a_b_c"_s);
}

TEST(SafeFileNameTest, leavesNothingThatTurnsTheNameRound) {
  EXPECT_EQ(safe(u"photo\u202egpj.exe"_s), u"photo_gpj.exe"_s);
  for (const char16_t c : {u'\u061c', u'\u200e', u'\u200f', u'\u202a', u'\u2066', u'\u2069'}) {
    EXPECT_EQ(safe(u"a"_s + QChar(c) + u"b"_s), u"a_b"_s);
  }
}

TEST(SafeFileNameTest, replacesHalvesOfCharacters) {
  const QString half = u"a"_s + QChar(0xD800) + u"b"_s;
  expectUsable(safeFileName(half));
  EXPECT_EQ(safe(QString(QChar(0xDC00))).size(), 1);
}

TEST(SafeFileNameTest, namesWhatHasNoVisibleName) {
  for (const QString& name : {u""_s, u" "_s, u"\u00a0\u3000"_s, u"\u200b\u2060"_s}) {
    EXPECT_EQ(safe(name), u"file"_s) << name.toStdString();
  }
}

TEST(SafeFileNameTest, shortensWhatStandsBeforeTheExtension) {
  EXPECT_EQ(safe(QString(251, u'a') + u".txt"_s), QString(251, u'a') + u".txt"_s);
  EXPECT_EQ(safe(QString(252, u'a') + u".txt"_s), QString(251, u'a') + u".txt"_s);
  EXPECT_EQ(safe(QString(300, u'a')), QString(255, u'a'));
  EXPECT_EQ(safe(QString(1'000'000, u'a') + u".txt"_s), QString(251, u'a') + u".txt"_s);
  EXPECT_EQ(safe(u"a."_s + QString(300, u'x')), u"a."_s + QString(253, u'x'));
}

TEST(SafeFileNameTest, cutsBetweenCharacters) {
  // Two bytes each: 251 of them is odd.
  EXPECT_EQ(safe(QString(200, u'ä') + u".txt"_s), QString(125, u'ä') + u".txt"_s);
  // The three code points of one letter are kept or removed together.
  const QString letter = u"e\u0301\u0323"_s;
  EXPECT_EQ(safe(letter.repeated(60) + u".t"_s), letter.repeated(50) + u".t"_s);
  const QString family = u"👩‍👩‍👧"_s;
  EXPECT_EQ(safe(family.repeated(20)), family.repeated(14));
}

TEST(SafeFileNameTest, splitsALetterThatIsTooLong) {
  const QByteArray name = safeFileName(u"e"_s + QString(400, u'\u0301') + u".txt"_s);
  expectUsable(name);
  EXPECT_TRUE(name.endsWith(".txt"));
  EXPECT_GT(name.size(), 250);
}

TEST(SafeFileNameTest, makesAUsableNameOfAnything) {
  std::mt19937 random(3);
  const QString alphabet = u"./\\ \n\u202e.ä👩é(1)"_s + QChar(0) + QChar(0xD83D) + QChar(0xFFFF);
  for (int i = 0; i < 3000; ++i) {
    QString name;
    for (unsigned length = random() % 400; length > 0; --length) {
      name.append(alphabet[static_cast<qsizetype>(random() % static_cast<unsigned>(alphabet.size()))]);
    }
    QByteArray made = safeFileName(name);
    expectUsable(made);
    for (int n = 1; n < 5; ++n) {
      made = nextFileName(made, n);
      expectUsable(made);
    }
  }
}

TEST(NextFileNameTest, pilesTheSuffixesUp) {
  QByteArray name = "a.txt";
  QByteArrayList names;
  for (int n = 1; n <= 3; ++n) names.append(name = nextFileName(name, n));
  EXPECT_EQ(names, (QByteArrayList{"a (1).txt", "a (1) (2).txt", "a (1) (2) (3).txt"}));
}

TEST(NextFileNameTest, putsTheSuffixAtTheEndWithoutAnExtension) {
  EXPECT_EQ(nextFileName("README", 1), "README (1)");
  EXPECT_EQ(nextFileName("README (1)", 2), "README (1) (2)");
  EXPECT_EQ(nextFileName("end.", 1), "end. (1)");
  EXPECT_EQ(nextFileName("a.tar.gz", 1), "a.tar (1).gz");
}

TEST(NextFileNameTest, staysWithinTheLimitAndNeverRepeatsItself) {
  for (const QByteArray& first : {QByteArray("a.txt"), QByteArray(255, 'a'), QByteArray("a." + QByteArray(253, 'x')),
                                  QByteArray(QByteArray(251, 'a') + ".txt")}) {
    QSet<QByteArray> seen{first};
    QByteArray name = first;
    for (int n = 1; n <= 999; ++n) {
      name = nextFileName(name, n);
      expectUsable(name);
      EXPECT_FALSE(seen.contains(name)) << name.toStdString();
      seen.insert(name);
    }
  }
}

TEST(NextFileNameTest, keepsTheExtensionOfALongName) {
  EXPECT_EQ(nextFileName(QByteArray(251, 'a') + ".txt", 1), QByteArray(247, 'a') + " (1).txt");
}

TEST(PlainFileNameTest, replacesWhatOtherFileSystemsRefuse) {
  EXPECT_EQ(plainFileName("a:b?c*d\"e<f>g|h.txt"), "a_b_c_d_e_f_g_h.txt");
  EXPECT_EQ(plainFileName("Bericht (1) \xc3\xbc;'&.tar.gz"), "Bericht (1) \xc3\xbc;'&.tar.gz");
  EXPECT_EQ(plainFileName("end. ."), "end___");
}

TEST(PlainFileNameTest, fitsIntoTheNamesOfAnEncryptedFolder) {
  EXPECT_EQ(plainFileName(QByteArray(251, 'a') + ".txt"), QByteArray(136, 'a') + ".txt");
  const QByteArray umlauts = plainFileName(QByteArray("\xc3\xbc").repeated(120));
  EXPECT_EQ(umlauts, QByteArray("\xc3\xbc").repeated(70));
  EXPECT_EQ(nextFileName(QByteArray(136, 'a') + ".txt", 1, kMaxPlainNameBytes), QByteArray(132, 'a') + " (1).txt");
}

}  // namespace
}  // namespace vantora
