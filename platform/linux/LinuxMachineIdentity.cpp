#include "platform/linux/LinuxMachineIdentity.h"

#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr qint64 kLongestFile = 4096;
constexpr qsizetype kMachineIdDigits = 32;

QString kernelHostName() {
  std::array<char, 256> name{};
  // The last byte stays zero: a name that does not fit need not be terminated.
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  return QString::fromLocal8Bit(name.data());
}

bool isMachineId(const QString& text) {
  const auto isHexDigit = [](QChar c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
  };
  return text.size() == kMachineIdDigits && std::all_of(text.begin(), text.end(), isHexDigit) &&
         text.count(u'0') != kMachineIdDigits;
}

}  // namespace

LinuxMachineIdentity::LinuxMachineIdentity() : LinuxMachineIdentity(Sources{}) {}

LinuxMachineIdentity::LinuxMachineIdentity(Sources sources) : sources_(std::move(sources)) {
  if (!sources_.hostName) sources_.hostName = kernelHostName;
}

std::optional<QString> LinuxMachineIdentity::hardwareUuid() const {
  for (const QString& path : sources_.machineIdFiles) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) continue;
    QString text = QString::fromLatin1(file.read(kLongestFile)).trimmed();
    if (isMachineId(text)) return text;
  }
  return std::nullopt;
}

std::optional<QString> LinuxMachineIdentity::localizedHostName() const {
  QString name = sources_.hostName();
  if (name.isEmpty() || name == "localhost"_L1 || name == "(none)"_L1) return std::nullopt;
  return name;
}

}  // namespace vantora
