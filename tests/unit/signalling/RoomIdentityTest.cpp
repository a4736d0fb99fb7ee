#include <gtest/gtest.h>

#include <QRegularExpression>

#include "main/signalling/RoomIdentity.h"
#include "tests/fakes/FakeMachineIdentity.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const QStringList kNoArguments{u"host"_s};

class RoomIdentity : public testing::Test {
 protected:
  RoomIdentity() { machine_.uuid = u"ABC"_s; }
  QString resolve(std::initializer_list<std::pair<const char*, const char*>> environment,
                  const QStringList& arguments = kNoArguments, const InfoDictionary& info = {}) const {
    return resolveRoomId(info, Environment::of(environment), arguments, machine_);
  }
  fakes::FakeMachineIdentity machine_;
};

InfoDictionary info(const QString& key, const QString& value) { return InfoDictionary({{key, value}}); }

TEST_F(RoomIdentity, isTheDemoRoomForExactlyOne) {
  EXPECT_EQ(resolve({{"DEMO", "1"}}), u"demo"_s);
  EXPECT_EQ(resolve({{"DEMO", "true"}, {"ROOM", "r"}}), u"r"_s);
  EXPECT_EQ(resolve({{"ROOM", "r"}}, kNoArguments, info(u"VANTORA_DEMO"_s, u"1"_s)), u"demo"_s);
  EXPECT_EQ(resolve({{"ROOM", "r"}}, kNoArguments, info(u"VANTORA_DEMO"_s, u"yes"_s)), u"r"_s);
}

TEST_F(RoomIdentity, prefersTheDemoRoomToAConfiguredOne) {
  EXPECT_EQ(resolve({{"DEMO", "1"}}, {u"host"_s, u"arg"_s}, info(u"VANTORA_ROOM"_s, u"a"_s)), u"demo"_s);
}

TEST_F(RoomIdentity, prefersTheInformationKeyThenTheVariableThenTheArgument) {
  const QStringList arguments{u"host"_s, u"Arg"_s};
  EXPECT_EQ(resolve({{"ROOM", "env"}}, arguments, info(u"VANTORA_ROOM"_s, u"Info"_s)), u"info"_s);
  EXPECT_EQ(resolve({{"ROOM", "Env"}}, arguments), u"env"_s);
  EXPECT_EQ(resolve({}, arguments), u"arg"_s);
}

TEST_F(RoomIdentity, lowerCasesAConfiguredRoomAndChangesNothingElse) {
  EXPECT_EQ(resolve({{"ROOM", "Team-A"}}), u"team-a"_s);
  EXPECT_EQ(resolve({{"ROOM", " Team A/\xC3\x84 "}}), u" team a/ä "_s);
}

TEST_F(RoomIdentity, fallsThroughEmptyTexts) {
  const InfoDictionary empty = info(u"VANTORA_ROOM"_s, QString());
  EXPECT_EQ(resolve({{"ROOM", ""}}, {u"host"_s, u"Arg"_s}, empty), u"arg"_s);
  EXPECT_EQ(resolve({{"ROOM", ""}}, {u"host"_s, QString()}, empty), machineDerivedRoomId(machine_));
  EXPECT_EQ(resolve({}, {}), machineDerivedRoomId(machine_));
}

TEST_F(RoomIdentity, hashesTheIdentifierOfTheMachineInLowerCase) {
  // SHA-256 of "abc" begins ba7816bf8f01cfea.
  EXPECT_EQ(machineDerivedRoomId(machine_), u"ba7816bf8f01cfea"_s);
  machine_.hostName = u"other"_s;
  EXPECT_EQ(machineDerivedRoomId(machine_), u"ba7816bf8f01cfea"_s);
}

TEST_F(RoomIdentity, hashesTheHostNameWithoutAnIdentifier) {
  machine_.uuid.reset();
  machine_.hostName = u"ABC"_s;
  EXPECT_EQ(machineDerivedRoomId(machine_), u"ba7816bf8f01cfea"_s);
}

TEST_F(RoomIdentity, isANewOneEachTimeWithoutAnyName) {
  machine_.uuid.reset();
  const QString first = machineDerivedRoomId(machine_);
  const QString second = machineDerivedRoomId(machine_);
  EXPECT_NE(first, second);
  const QRegularExpression sixteenDigits(u"^[0-9a-f]{16}$"_s);
  EXPECT_TRUE(sixteenDigits.match(first).hasMatch());
  EXPECT_TRUE(sixteenDigits.match(second).hasMatch());
}

TEST_F(RoomIdentity, hashesTheUtf8Bytes) {
  EXPECT_EQ(shortHash(QString()), u"e3b0c44298fc1c14"_s);
  // SHA-256 of the two bytes C3 A4.
  EXPECT_EQ(shortHash(u"ä"_s), u"33e6d73fee82904c"_s);
}

TEST_F(RoomIdentity, tellsTheIdentifierOfTheMachine) {
  EXPECT_EQ(machineHardwareUUID(machine_), u"ABC"_s);
  machine_.uuid.reset();
  EXPECT_EQ(machineHardwareUUID(machine_), std::nullopt);
}

}  // namespace
}  // namespace vantora
