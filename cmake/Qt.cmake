# Qt 6: application, WebSocket, JSON, timers, D-Bus.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Network WebSockets DBus)
