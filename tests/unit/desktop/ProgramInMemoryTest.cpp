#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>

#include "main/desktop/ProgramInMemory.h"

namespace vantora {
namespace {

QByteArray contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(ProgramInMemory, runsMoreThanOnce) {
  const QByteArray image = contents(QStringLiteral("/bin/echo"));
  ASSERT_FALSE(image.isEmpty());
  const QString path = programInMemory(image, "echo");
  ASSERT_FALSE(path.isEmpty());
  for (const char* word : {"one", "two"}) {
    QProcess process;
    process.start(path, {QString::fromLatin1(word)});
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.readAllStandardOutput(), QByteArray(word) + '\n');
  }
}

TEST(ProgramInMemory, cannotBeChanged) {
  const QString path = programInMemory("no program", "nothing");
  QFile file(path);
  EXPECT_FALSE(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered) && file.write("x") == 1);
  EXPECT_EQ(contents(path), "no program");
}

TEST(ProgramInMemory, somethingElseDoesNotStart) {
  const QString path = programInMemory("no program", "nothing");
  ASSERT_FALSE(path.isEmpty());
  QProcess process;
  process.start(path, {});
  EXPECT_FALSE(process.waitForStarted());
}

}  // namespace
}  // namespace vantora
