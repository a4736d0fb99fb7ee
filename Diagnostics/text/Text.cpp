#include "Diagnostics/text/Text.h"

#include <cmath>

namespace vantora::Diagnostics {
using namespace Qt::Literals::StringLiterals;

QStringList trimmedLines(const QString& text) {
  QStringList result;
  for (const QString& line : text.split(u'\n')) {
    const QString trimmed = line.trimmed();
    if (!trimmed.isEmpty()) result.append(trimmed);
  }
  return result;
}

QStringList words(const QString& text) { return text.simplified().split(u' ', Qt::SkipEmptyParts); }

QString lastPathComponent(const QString& path) { return path.mid(path.lastIndexOf(u'/') + 1); }

std::optional<qint64> toInteger(const QString& text) {
  bool ok = false;
  const qint64 value = text.trimmed().toLongLong(&ok);
  return ok ? std::optional(value) : std::nullopt;
}

std::optional<double> toNumber(const QString& text) {
  bool ok = false;
  const double value = text.trimmed().toDouble(&ok);
  return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::optional<qint64> leadingInteger(const QString& text) {
  const QString trimmed = text.trimmed();
  qsizetype end = trimmed.startsWith(u'-') || trimmed.startsWith(u'+') ? 1 : 0;
  while (end < trimmed.size() && trimmed[end] >= u'0' && trimmed[end] <= u'9') ++end;
  return toInteger(trimmed.left(end));
}

QString unescaped(const QString& text) {
  const QByteArray bytes = text.toUtf8();
  QByteArray result;
  for (qsizetype i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != '\\' || i + 1 >= bytes.size()) {
      result += bytes[i];
      continue;
    }
    bool ok = false;
    const int code = bytes[i + 1] == 'x' ? bytes.mid(i + 2, 2).toInt(&ok, 16) : 0;
    if (ok && i + 3 < bytes.size()) {
      result += static_cast<char>(code);
      i += 3;
    } else {
      result += bytes[++i];
    }
  }
  return QString::fromUtf8(result);
}

double roundedToTenth(double value) { return std::round(value * 10) / 10; }

}  // namespace vantora::Diagnostics
