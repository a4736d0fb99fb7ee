#include "base/InfoDictionary.h"

#include <QFileInfo>
#include <QSettings>

namespace vantora {

InfoDictionary InfoDictionary::load(const QString& executableFolder) {
  for (const QString& path : {executableFolder + QStringLiteral("/Info.ini"),
                              executableFolder + QStringLiteral("/../share/vantora-host/Info.ini")}) {
    if (!QFileInfo(path).isFile()) continue;
    const QSettings file(path, QSettings::IniFormat);
    QMap<QString, QString> values;
    for (const QString& key : file.allKeys()) {
      // QSettings reads an unquoted comma as a list; the dictionary holds texts only.
      values.insert(key, file.value(key).toStringList().join(u','));
    }
    return InfoDictionary(std::move(values));
  }
  return {};
}

std::optional<QString> InfoDictionary::value(const char* key) const {
  const auto found = values_.constFind(QString::fromLatin1(key));
  if (found == values_.constEnd()) return std::nullopt;
  return *found;
}

std::optional<QString> InfoDictionary::bundleIdentifier() const {
  auto identifier = value("BundleIdentifier");
  if (identifier && identifier->isEmpty()) return std::nullopt;
  return identifier;
}

QString InfoDictionary::displayName() const { return value("DisplayName").value_or(QStringLiteral("Vantora Host")); }

}  // namespace vantora
