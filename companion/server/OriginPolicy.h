// Which web pages may use the room server.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <optional>

#include "companion/server/HttpRequest.h"

namespace vantora::companion {

// A browser lets any page connect to any address, this machine's own included, and names the page's origin. Other
// programs name no origin. Pure; immutable.
class OriginPolicy {
 public:
  // `allowed`: origins of pages that are served elsewhere, as parseOrigin() gives them. `machineName`: this machine's
  // name, as others may write it in an address.
  OriginPolicy(QByteArrayList allowed, const QString& machineName);

  // Whether `request` comes from a program, from a page of this server, or from one of the allowed origins. A page of
  // this server is one whose origin is the address that the request itself was sent to, when that address is an IP
  // address, "localhost" or the machine's name: the owner of any other name may have made it point to this machine.
  bool admits(const HttpRequest& request) const;

 private:
  bool isOwnName(const QByteArray& authority) const;

  QByteArrayList allowed_;
  QByteArray machineName_;
};

// The origin in the spelling that browsers use ("https://pages.example", in small letters, without the port that the
// scheme implies), or empty when `text` is not one. Pure.
std::optional<QByteArray> parseOrigin(const QString& text);

}  // namespace vantora::companion
