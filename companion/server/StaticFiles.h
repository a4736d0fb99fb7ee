// The viewer page's files, as HTTP responses.
#pragma once

#include <QByteArray>
#include <QString>

#include "companion/server/HttpRequest.h"

namespace vantora::companion {

// Serves the files below one folder. Nothing outside of it is ever read, whether the way out is a "..", an encoded one,
// or a symbolic link. Files are read again at every request.
class StaticFiles {
 public:
  explicit StaticFiles(const QString& folder);

  // The whole response, head and body; "Connection: close". GET and HEAD only.
  QByteArray response(const HttpRequest& request) const;
  // A response without a file, e.g. (400, "Bad Request"). Pure.
  static QByteArray plainResponse(int status, const QByteArray& reason, bool withBody = true);
  // The same, with a text that says more. Pure.
  static QByteArray explainedResponse(int status, const QByteArray& reason, QByteArrayView text);

 private:
  // The file that `target` names, or empty.
  QString fileFor(const QByteArray& target) const;

  QString root_;
};

}  // namespace vantora::companion
