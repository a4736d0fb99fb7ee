// Command line of the room server.
#pragma once

#include <QByteArrayList>
#include <QHostAddress>
#include <QString>
#include <QStringList>

namespace vantora::companion {

struct ServerOptions {
  quint16 port = 8080;
  QHostAddress listen = QHostAddress(QHostAddress::LocalHost);
  // Empty: to be found beside the program.
  QString viewerFolder;
  // Origins of pages from elsewhere that may use the rooms.
  QByteArrayList allowedOrigins;

  bool helpWanted = false;
  QString helpText;
  // Not empty: what is wrong with the arguments.
  QString error;
};

// `arguments` starts with the program's name. Never exits or prints.
ServerOptions parseServerOptions(const QStringList& arguments);

// The viewer page's folder for a program in `programFolder`: that of an installation, else that of
// the source tree around a build folder; empty when there is neither.
QString findViewerFolder(const QString& programFolder);

}  // namespace vantora::companion
