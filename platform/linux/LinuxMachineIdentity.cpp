#include "platform/linux/LinuxMachineIdentity.h"

#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr qint64 kMaxFileBytes = 4096;
constexpr qsizetype kMachineIdDigits = 32;
constexpr qsizetype kMaxNameLength = 256;

QString kernelHostName() {
  std::array<char, 256> name{};
  // The last byte stays zero: gethostname may leave a truncated name unterminated.
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

// The right side of a shell assignment without its quoting; empty for an unterminated quote.
std::optional<QByteArray> unquoted(const QByteArray& word) {
  QByteArray result;
  char quote = 0;
  for (qsizetype i = 0; i < word.size(); ++i) {
    const char c = word[i];
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (quote != 0 && c == quote) {
      quote = 0;
    } else if (c == '\\' && quote != '\'' && i + 1 < word.size()) {
      const char next = word[++i];
      // Between double quotes a backslash is literal before any character that is not special there.
      if (quote == '"' && !QByteArrayView("\"\\$`").contains(next)) result += c;
      result += next;
    } else if (quote == 0 && (c == ' ' || c == '\t')) {
      break;
    } else {
      result += c;
    }
  }
  if (quote != 0) return std::nullopt;
  return result;
}

}  // namespace

QString prettyHostNameIn(const QByteArray& machineInfo) {
  constexpr QByteArrayView kKey("PRETTY_HOSTNAME=");
  QByteArray value;
  for (const QByteArray& line : machineInfo.split('\n')) {
    const QByteArray assignment = line.trimmed();
    // As in a shell, the last assignment counts.
    if (assignment.startsWith(kKey)) value = unquoted(assignment.mid(kKey.size())).value_or(QByteArray());
  }
  const QString name = QString::fromUtf8(value).trimmed();
  const bool sound =
      name.size() <= kMaxNameLength && std::all_of(name.begin(), name.end(), [](QChar c) { return c.isPrint(); });
  return sound ? name : QString();
}

LinuxMachineIdentity::LinuxMachineIdentity() : LinuxMachineIdentity(Sources{}) {}

LinuxMachineIdentity::LinuxMachineIdentity(Sources sources) : sources_(std::move(sources)) {
  if (!sources_.hostName) sources_.hostName = kernelHostName;
}

std::optional<QString> LinuxMachineIdentity::hardwareUuid() const {
  for (const QString& path : sources_.machineIdFiles) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) continue;
    QString text = QString::fromLatin1(file.read(kMaxFileBytes)).trimmed();
    if (isMachineId(text)) return text;
  }
  return std::nullopt;
}

std::optional<QString> LinuxMachineIdentity::localizedHostName() const {
  QString name = sources_.hostName();
  if (name.isEmpty() || name == "localhost"_L1 || name == "(none)"_L1) return std::nullopt;
  return name;
}

std::optional<QString> LinuxMachineIdentity::prettyHostName() const {
  QFile file(sources_.machineInfoFile);
  if (file.open(QIODevice::ReadOnly)) {
    QString name = prettyHostNameIn(file.read(kMaxFileBytes));
    if (!name.isEmpty()) return name;
  }
  return localizedHostName();
}

}  // namespace vantora
