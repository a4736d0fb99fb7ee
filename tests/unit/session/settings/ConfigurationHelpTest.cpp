#include <gtest/gtest.h>

#include <QFile>
#include <QStringList>

#include "main/session/settings/ConfigurationHelp.h"
#include "tests/fakes/Places.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString sourceName(ConfigurationSource source) {
  switch (source) {
    case ConfigurationSource::argument:
      return u"Arguments"_s;
    case ConfigurationSource::environment:
      return u"Environment variables"_s;
    case ConfigurationSource::information:
      return u"Information dictionary"_s;
  }
  return {};
}

QString plain(const QString& cell) { return cell.trimmed().remove(u'`'); }

// The rows of all tables, each as "heading | name | default".
QStringList documentedRows() {
  QFile file(testplaces::source(u"docs/configuration.md"_s));
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
  QStringList rows;
  QString heading;
  for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
    if (line.startsWith("## "_L1)) heading = line.mid(3);
    const QStringList cells = line.split(u'|');
    if (cells.size() < 5 || cells[1].contains("---"_L1) || plain(cells[1]) == "Name"_L1) continue;
    rows.append(heading + u" | "_s + plain(cells[1]) + u" | "_s + plain(cells[2]));
  }
  return rows;
}

TEST(ConfigurationHelpTest, isDocumentedNameByName) {
  QStringList rows;
  for (const ConfigurationName& row : configurationNames()) {
    rows.append(sourceName(row.source) + u" | "_s + QString::fromUtf8(row.name) + u" | "_s +
                QString::fromUtf8(row.defaultText));
  }
  EXPECT_EQ(documentedRows(), rows) << documentedRows().join(u'\n').toStdString();
}

TEST(ConfigurationHelpTest, listsEveryName) {
  const QString help = helpText();
  for (const ConfigurationName& row : configurationNames()) {
    EXPECT_TRUE(help.contains(QString::fromUtf8(row.name))) << row.name;
    EXPECT_TRUE(help.contains(QString::fromUtf8(row.meaning))) << row.name;
  }
}

}  // namespace
}  // namespace vantora
