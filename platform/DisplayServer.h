// The display's server.
#pragma once

namespace vantora {

// Whether the server that DISPLAY names takes a connection at this moment. Any thread; waits for the server.
bool displayServerAnswers();

}  // namespace vantora
