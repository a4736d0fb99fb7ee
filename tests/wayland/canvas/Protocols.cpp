// The code of the protocols, made by wayland-scanner. It is C: its headers declare as extern what C++ would keep local.
#include "viewporter-client-protocol.h"
#include "xdg-shell-client-protocol.h"
//
#include "viewporter-protocol-code.h"
#include "xdg-shell-protocol-code.h"
