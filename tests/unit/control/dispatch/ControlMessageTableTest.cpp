#include <gtest/gtest.h>

#include <QFile>
#include <QStringList>

#include "main/control/dispatch/ControlMessageTable.h"
#include "tests/fakes/Places.h"
#include "tests/unit/control/dispatch/MessageTypes.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString gateName(Gate gate) {
  switch (gate) {
    case Gate::none:
      return u"none"_s;
    case Gate::input:
      return u"input"_s;
    case Gate::command:
      return u"command"_s;
    case Gate::file:
      return u"file"_s;
  }
  return {};
}

QString acknowledgementName(Acknowledgement acknowledgement) {
  switch (acknowledgement) {
    case Acknowledgement::never:
      return u"no"_s;
    case Acknowledgement::withRequest:
      return u"yes"_s;
    case Acknowledgement::withoutRequest:
      return u"yes, without `req`"_s;
  }
  return {};
}

QString plain(const QString& cell) { return cell.trimmed().remove(u'`'); }

// The rows of the marked table, each as "type | gate | acknowledgement".
QStringList documentedRows() {
  QFile file(testplaces::source(u"docs/protocol.md"_s));
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
  QStringList rows;
  bool marked = false;
  bool inside = false;
  for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
    marked = marked || line.startsWith("<!-- control-table:"_L1);
    if (!marked) continue;
    if (!line.startsWith(u'|')) {
      if (inside) break;
      continue;
    }
    const QStringList cells = line.split(u'|');
    if (cells.size() < 6) continue;
    const bool heading = !inside || cells[1].contains("---"_L1);
    inside = true;
    if (!heading) rows.append(plain(cells[1]) + u" | "_s + plain(cells[3]) + u" | "_s + plain(cells[4]));
  }
  return rows;
}

TEST(ControlMessageTableTest, listsEveryTypeWithItsGateAndAcknowledgement) {
  ASSERT_EQ(controlMessageTable().size(), kExpectedTypes.size());
  for (size_t i = 0; i < kExpectedTypes.size(); ++i) {
    EXPECT_EQ(controlMessageTable()[i].type, kExpectedTypes[i].type);
    EXPECT_EQ(controlMessageTable()[i].gate, kExpectedTypes[i].gate) << kExpectedTypes[i].type.data();
    EXPECT_EQ(controlMessageTable()[i].acknowledgement, kExpectedTypes[i].acknowledgement)
        << kExpectedTypes[i].type.data();
  }
}

TEST(ControlMessageTableTest, isDocumentedRowByRow) {
  QStringList rows;
  for (const ControlMessageRow& row : controlMessageTable()) {
    rows.append(row.type + u" | "_s + gateName(row.gate) + u" | "_s + plain(acknowledgementName(row.acknowledgement)));
  }
  EXPECT_EQ(documentedRows(), rows) << documentedRows().join(u'\n').toStdString();
}

TEST(ControlMessageTableTest, findsTypesByTheirExactName) {
  for (const ControlMessageRow& row : controlMessageTable()) {
    EXPECT_EQ(findControlMessage(QString(row.type)), &row);
  }
  for (const QString& name : {u""_s, u"Ping"_s, u"ping "_s, u"pong"_s, u"mousemove"_s, u"ack"_s, u"ptr"_s}) {
    EXPECT_EQ(findControlMessage(name), nullptr) << name.toStdString();
  }
}

}  // namespace
}  // namespace vantora
