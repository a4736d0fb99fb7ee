#include "platform/linux/atspi/DBusCaller.h"

#include <dbus/dbus.h>

#include <algorithm>
#include <string_view>

namespace vantora::atspi {
namespace {

// Replies about user interface elements are small. Anything larger is a fault or an attack, and ends the connection.
constexpr long kMaxMessageBytes = 1 << 20;
constexpr long kMaxQueuedBytes = 4 << 20;
constexpr std::string_view kNullPath = "/org/a11y/atspi/null";

class Error {
 public:
  Error() { dbus_error_init(&error_); }
  ~Error() { dbus_error_free(&error_); }
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;
  DBusError* get() { return &error_; }

  DBusFailure failure() const {
    if (dbus_error_is_set(&error_) == 0) return DBusFailure::none;
    for (const char* name : {DBUS_ERROR_NO_REPLY, DBUS_ERROR_TIMEOUT, DBUS_ERROR_TIMED_OUT}) {
      if (dbus_error_has_name(&error_, name) != 0) return DBusFailure::timedOut;
    }
    for (const char* name : {DBUS_ERROR_ACCESS_DENIED, DBUS_ERROR_AUTH_FAILED}) {
      if (dbus_error_has_name(&error_, name) != 0) return DBusFailure::refused;
    }
    return DBusFailure::other;
  }

 private:
  DBusError error_;
};

int millisecondsUntil(Deadline deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 60'000));
}

// The first value of a message, unwrapped when it is a variant; type DBUS_TYPE_INVALID for an empty message.
DBusMessageIter firstValue(DBusMessage* message) {
  DBusMessageIter value;
  dbus_message_iter_init(message, &value);
  if (dbus_message_iter_get_arg_type(&value) == DBUS_TYPE_VARIANT) {
    DBusMessageIter inner;
    dbus_message_iter_recurse(&value, &inner);
    return inner;
  }
  return value;
}

// (so). A bus name from another program may be invalid.
std::optional<ObjectRef> readObject(DBusMessageIter& value) {
  if (dbus_message_iter_get_arg_type(&value) != DBUS_TYPE_STRUCT) return std::nullopt;
  DBusMessageIter field;
  dbus_message_iter_recurse(&value, &field);
  if (dbus_message_iter_get_arg_type(&field) != DBUS_TYPE_STRING) return std::nullopt;
  const char* name = nullptr;
  dbus_message_iter_get_basic(&field, &name);
  if (dbus_message_iter_next(&field) == 0 || dbus_message_iter_get_arg_type(&field) != DBUS_TYPE_OBJECT_PATH) {
    return std::nullopt;
  }
  const char* path = nullptr;
  dbus_message_iter_get_basic(&field, &path);
  if (path == kNullPath || dbus_validate_bus_name(name, nullptr) == 0) return std::nullopt;
  return ObjectRef{name, path};
}

template <typename T>
std::optional<std::vector<T>> readNumbers(DBusMessage* message, int container, int type) {
  DBusMessageIter value = firstValue(message);
  if (dbus_message_iter_get_arg_type(&value) != container) return std::nullopt;
  std::vector<T> numbers;
  DBusMessageIter field;
  dbus_message_iter_recurse(&value, &field);
  for (; dbus_message_iter_get_arg_type(&field) == type; dbus_message_iter_next(&field)) {
    T number = 0;
    dbus_message_iter_get_basic(&field, &number);
    if (numbers.size() < DBusReply::kMaxObjects) numbers.push_back(number);
  }
  return numbers;
}

}  // namespace

void DBusReply::Unref::operator()(DBusMessage* message) const { dbus_message_unref(message); }

std::optional<std::uint32_t> DBusReply::number() const {
  DBusMessageIter value = firstValue(message_.get());
  if (dbus_message_iter_get_arg_type(&value) != DBUS_TYPE_UINT32) return std::nullopt;
  std::uint32_t number = 0;
  dbus_message_iter_get_basic(&value, &number);
  return number;
}

std::optional<std::string> DBusReply::text() const {
  DBusMessageIter value = firstValue(message_.get());
  if (dbus_message_iter_get_arg_type(&value) != DBUS_TYPE_STRING) return std::nullopt;
  const char* text = nullptr;
  dbus_message_iter_get_basic(&value, &text);
  return text;
}

std::optional<ObjectRef> DBusReply::object() const {
  DBusMessageIter value = firstValue(message_.get());
  return readObject(value);
}

std::optional<std::vector<ObjectRef>> DBusReply::objects() const {
  DBusMessageIter value = firstValue(message_.get());
  if (dbus_message_iter_get_arg_type(&value) != DBUS_TYPE_ARRAY) return std::nullopt;
  std::vector<ObjectRef> objects;
  DBusMessageIter element;
  dbus_message_iter_recurse(&value, &element);
  while (dbus_message_iter_get_arg_type(&element) == DBUS_TYPE_STRUCT && objects.size() < kMaxObjects) {
    if (auto object = readObject(element)) objects.push_back(std::move(*object));
    dbus_message_iter_next(&element);
  }
  return objects;
}

std::optional<std::vector<std::int32_t>> DBusReply::integers() const {
  return readNumbers<std::int32_t>(message_.get(), DBUS_TYPE_STRUCT, DBUS_TYPE_INT32);
}

std::optional<std::vector<std::uint32_t>> DBusReply::numbers() const {
  return readNumbers<std::uint32_t>(message_.get(), DBUS_TYPE_ARRAY, DBUS_TYPE_UINT32);
}

std::unique_ptr<DBusCaller> DBusCaller::connect(const std::string& address, Deadline deadline, DBusFailure& failure) {
  Error error;
  DBusConnection* const connection = dbus_connection_open_private(address.c_str(), error.get());
  failure = error.failure();
  if (connection == nullptr) return nullptr;
  std::unique_ptr<DBusCaller> caller(new DBusCaller(connection));
  dbus_connection_set_exit_on_disconnect(connection, FALSE);
  dbus_connection_set_max_message_size(connection, kMaxMessageBytes);
  dbus_connection_set_max_received_size(connection, kMaxQueuedBytes);
  const auto hello = caller->call({DBUS_SERVICE_DBUS, DBUS_PATH_DBUS}, DBUS_INTERFACE_DBUS, "Hello", {}, deadline);
  failure = caller->failure();
  if (hello) return caller;
  // A bus that rejects this user closes the connection without an error message.
  if (failure != DBusFailure::timedOut || !caller->connected()) failure = DBusFailure::refused;
  return nullptr;
}

DBusCaller::~DBusCaller() {
  dbus_connection_close(connection_);
  dbus_connection_unref(connection_);
}

bool DBusCaller::connected() const {
  dbus_connection_read_write(connection_, 0);  // A lost connection is detected only when reading.
  return dbus_connection_get_is_connected(connection_) != 0;
}

std::optional<DBusReply> DBusCaller::call(const ObjectRef& object, const char* interface, const char* method,
                                          const std::vector<Argument>& arguments, Deadline deadline) {
  const int limit = millisecondsUntil(deadline);
  if (limit == 0) {
    failure_ = DBusFailure::timedOut;
    return std::nullopt;
  }
  DBusMessage* const request =
      dbus_message_new_method_call(object.name.c_str(), object.path.c_str(), interface, method);
  if (request == nullptr) return std::nullopt;
  const DBusReply owner(request);
  dbus_message_set_auto_start(request, FALSE);
  DBusMessageIter end;
  dbus_message_iter_init_append(request, &end);
  for (const Argument& argument : arguments) {
    if (const auto* integer = std::get_if<std::int32_t>(&argument)) {
      dbus_message_iter_append_basic(&end, DBUS_TYPE_INT32, integer);
    } else if (const auto* number = std::get_if<std::uint32_t>(&argument)) {
      dbus_message_iter_append_basic(&end, DBUS_TYPE_UINT32, number);
    } else {
      const char* text = std::get<std::string>(argument).c_str();
      dbus_message_iter_append_basic(&end, DBUS_TYPE_STRING, &text);
    }
  }
  Error error;
  DBusMessage* const reply = dbus_connection_send_with_reply_and_block(connection_, request, limit, error.get());
  failure_ = error.failure();
  // Nothing else reads the other incoming messages: signals, and calls from programs that take us for an application.
  while (DBusMessage* other = dbus_connection_pop_message(connection_)) dbus_message_unref(other);
  if (reply == nullptr) return std::nullopt;
  return DBusReply(reply);
}

}  // namespace vantora::atspi
