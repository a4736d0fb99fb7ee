// The packaged WebRTC library was compiled with its debug checks on, which changes the sizes of its classes. A
// translation unit of ours that includes its headers without them would corrupt the heap.
#include <api/video/i420_buffer.h>
#include <gtest/gtest.h>
#include <rtc_base/checks.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "tests/fakes/Places.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

static_assert(RTC_DCHECK_IS_ON, "the library's debug checks must be on in every unit that sees its headers");

TEST(WebRtcAbiTest, findsTheChecksOnInsideTheLibrary) {
  // Without its checks the library would create an empty frame buffer.
  EXPECT_DEATH(webrtc::I420Buffer::Create(0, 0), "Check failed");
}

TEST(WebRtcAbiTest, seesTheHeadersWithTheSameSwitchesEverywhere) {
  QFile file(testplaces::build() + u"/compile_commands.json"_s);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  int units = 0;
  const QJsonArray entries = QJsonDocument::fromJson(file.readAll()).array();
  for (const auto& entry : entries) {
    const QString command = entry[u"command"].toString();
    if (!command.contains(u"tg_owt"_s)) continue;
    ++units;
    const std::string name = entry[u"file"].toString().toStdString();
    EXPECT_TRUE(command.contains(u" -DDCHECK_ALWAYS_ON"_s)) << name;
    EXPECT_FALSE(command.contains(u" -DNDEBUG"_s)) << name;
  }
  EXPECT_GT(units, 5);
}

}  // namespace
}  // namespace vantora
