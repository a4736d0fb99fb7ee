// The program's information dictionary: settings that a packager fixes for an installation. Read from Info.ini next to
// the program's data, never written.
#pragma once

#include <QMap>
#include <QString>
#include <optional>

namespace vantora {

class InfoDictionary {
 public:
  InfoDictionary() = default;
  explicit InfoDictionary(QMap<QString, QString> values) : values_(std::move(values)) {}

  // Reads Info.ini in `executableFolder`, else in its ../share/vantora-host. A missing or
  // unreadable file gives an empty dictionary. Main thread, at start.
  static InfoDictionary load(const QString& executableFolder);

  // The value of `key`; empty when the key is absent.
  std::optional<QString> value(const char* key) const;
  std::optional<QString> bundleIdentifier() const;
  QString displayName() const;

 private:
  QMap<QString, QString> values_;
};

}  // namespace vantora
