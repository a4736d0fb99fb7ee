#include "main/signalling/RoomIdentity.h"

#include <QCryptographicHash>
#include <QUuid>

using namespace Qt::Literals::StringLiterals;

namespace vantora {

QString resolveRoomId(const InfoDictionary& info, const Environment& environment, const QStringList& arguments,
                      const MachineIdentity& machine) {
  if (info.value("VANTORA_DEMO") == u"1"_s || environment.equals("DEMO", "1"_L1)) return u"demo"_s;
  if (const auto room = info.value("VANTORA_ROOM"); room && !room->isEmpty()) return room->toLower();
  if (const auto room = environment.nonEmpty("ROOM")) return room->toLower();
  if (arguments.size() > 1 && !arguments[1].isEmpty()) return arguments[1].toLower();
  return machineDerivedRoomId(machine);
}

QString machineDerivedRoomId(const MachineIdentity& machine) {
  if (const auto uuid = machineHardwareUUID(machine)) return shortHash(uuid->toLower());
  if (const auto name = machine.localizedHostName()) return shortHash(name->toLower());
  return shortHash(QUuid::createUuid().toString(QUuid::WithoutBraces).toLower());
}

std::optional<QString> machineHardwareUUID(const MachineIdentity& machine) { return machine.hardwareUuid(); }

QString shortHash(const QString& text) {
  const QByteArray digest = QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256);
  return QString::fromLatin1(digest.first(8).toHex());
}

}  // namespace vantora
