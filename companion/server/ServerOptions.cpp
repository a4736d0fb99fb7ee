#include "companion/server/ServerOptions.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>

#include "base/Environment.h"
#include "companion/server/OriginPolicy.h"

namespace vantora::companion {

using namespace Qt::Literals::StringLiterals;

ServerOptions parseServerOptions(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(u"Serves the viewer page and the signalling rooms on one port."_s);
  const QCommandLineOption help({u"h"_s, u"help"_s}, u"Shows this help."_s);
  const QCommandLineOption port(u"port"_s, u"Port to listen on; 0 takes a free one."_s, u"number"_s, u"8080"_s);
  const QCommandLineOption listen(u"listen"_s, u"Address to listen on."_s, u"address"_s, u"127.0.0.1"_s);
  const QCommandLineOption viewer(u"viewer-dir"_s, u"Folder of the viewer page."_s, u"folder"_s);
  const QCommandLineOption origin(
      u"allow-origin"_s,
      u"Lets the pages of another server use the rooms, e.g. https://support.example:8443. May be repeated."_s,
      u"origin"_s);
  parser.addOptions({help, port, listen, viewer, origin});

  ServerOptions options;
  const bool parsed = parser.parse(arguments);
  options.helpText = parser.helpText();
  if (!parsed) {
    options.error = parser.errorText();
    return options;
  }
  options.helpWanted = parser.isSet(help);
  if (!parser.positionalArguments().isEmpty()) {
    options.error = u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().first());
    return options;
  }
  const auto number = parseDecimal(parser.value(port));
  if (!number || *number < 0 || *number > 65535) {
    options.error = u"'%1' is not a port number (0 to 65535)."_s.arg(parser.value(port));
    return options;
  }
  options.port = static_cast<quint16>(*number);
  const QString address = parser.value(listen) == "localhost"_L1 ? u"127.0.0.1"_s : parser.value(listen);
  if (!options.listen.setAddress(address)) {
    options.error = u"'%1' is not an address to listen on."_s.arg(address);
    return options;
  }
  options.viewerFolder = parser.value(viewer);
  for (const QString& text : parser.values(origin)) {
    const auto parsedOrigin = parseOrigin(text);
    if (!parsedOrigin) {
      options.error = u"'%1' is not the origin of a page (http://name, https://name or with a port)."_s.arg(text);
      return options;
    }
    options.allowedOrigins.append(*parsedOrigin);
  }
  return options;
}

QString findViewerFolder(const QString& programFolder) {
  for (const QString& candidate : {u"../share/vantora-host/viewer"_s, u"../../companion/viewer"_s}) {
    const QFileInfo page(QDir(programFolder).filePath(candidate + u"/index.html"_s));
    if (page.isFile()) return page.canonicalPath();
  }
  return {};
}

}  // namespace vantora::companion
