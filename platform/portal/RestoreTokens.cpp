#include "platform/portal/RestoreTokens.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr auto kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner;
// Tokens of portals are UUIDs.
constexpr qint64 kMaxBytes = 16 * 1024;

QString stateFolder(const Environment& environment) {
  QString folder = environment.nonEmpty("XDG_STATE_HOME").value_or(QString());
  // Relative paths are to be ignored, by the rules for these folders.
  if (QDir::isAbsolutePath(folder)) return folder;
  const QString home = environment.nonEmpty("HOME").value_or(QString());
  return home.isEmpty() ? QString() : home + "/.local/state"_L1;
}

QString name(RestoreTokens::Kind kind) { return kind == RestoreTokens::Kind::view ? u"view"_s : u"control"_s; }

QJsonObject load(const QString& path) {
  QFile file(path);
  if (!file.open(QFile::ReadOnly)) return {};
  return QJsonDocument::fromJson(file.read(kMaxBytes)).object();
}

}  // namespace

RestoreTokens::RestoreTokens(const Environment& environment) {
  if (environment.equals("VANTORA_KEEP_CONSENT", "0"_L1)) return;
  const QString folder = stateFolder(environment);
  if (!folder.isEmpty()) path_ = folder + "/vantora-host/consent.json"_L1;
}

QString RestoreTokens::read(Kind kind) const {
  return path_.isEmpty() ? QString() : load(path_).value(name(kind)).toString();
}

void RestoreTokens::write(Kind kind, const QString& token) const {
  if (path_.isEmpty() || token.size() > kMaxBytes / 4) return;
  QJsonObject tokens = load(path_);
  if (tokens.value(name(kind)).toString() == token) return;
  if (token.isEmpty()) {
    tokens.remove(name(kind));
  } else {
    tokens.insert(name(kind), token);
  }
  const QString folder = path_.left(path_.lastIndexOf(u'/'));
  if (!QDir().mkpath(folder)) return;
  (void)QFile::setPermissions(folder, kOwnerOnly | QFile::ExeOwner);
  QSaveFile file(path_);
  if (!file.open(QFile::WriteOnly) || !file.setPermissions(kOwnerOnly)) return;
  file.write(QJsonDocument(tokens).toJson(QJsonDocument::Compact));
  (void)file.commit();
}

}  // namespace vantora
