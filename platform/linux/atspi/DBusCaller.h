// Method calls on a D-Bus connection, each with a time limit.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct DBusConnection;
struct DBusMessage;

namespace vantora::atspi {

using Deadline = std::chrono::steady_clock::time_point;

// An object on the bus.
struct ObjectRef {
  std::string name;  // Bus name of its owner.
  std::string path;
  bool operator==(const ObjectRef&) const = default;
};

// The reply of a method, in the types that are needed here.
class DBusReply {
 public:
  explicit DBusReply(DBusMessage* message) : message_(message) {}

  // The first value when it has the type, else empty; a variant is unwrapped.
  std::optional<std::uint32_t> number() const;
  std::optional<std::string> text() const;
  std::optional<ObjectRef> object() const;                    // (so); empty for the null object.
  std::optional<std::vector<ObjectRef>> objects() const;      // a(so), without null objects; the first kMaxObjects.
  std::optional<std::vector<std::int32_t>> integers() const;  // (i...)
  std::optional<std::vector<std::uint32_t>> numbers() const;  // au

  static constexpr std::size_t kMaxObjects = 256;

 private:
  struct Unref {
    void operator()(DBusMessage* message) const;
  };
  std::unique_ptr<DBusMessage, Unref> message_;
};

enum class DBusFailure {
  none,
  timedOut,  // No reply in time.
  refused,   // The bus or the called program does not allow it.
  other,     // The object or its owner is gone, the method is unknown, the connection is broken.
};

// Owns one private connection. Thread: any single one. A name or path that did not come from the bus must be valid.
class DBusCaller {
 public:
  using Argument = std::variant<std::int32_t, std::uint32_t, std::string>;

  // Connects to the bus at `address` and registers with it ("Hello"). Null on failure, see `failure`. Never starts a
  // bus.
  static std::unique_ptr<DBusCaller> connect(const std::string& address, Deadline deadline, DBusFailure& failure);
  ~DBusCaller();
  DBusCaller(const DBusCaller&) = delete;
  DBusCaller& operator=(const DBusCaller&) = delete;

  bool connected() const;
  // Waits for the reply until `deadline`. Never starts the called service. Empty on failure, see failure().
  std::optional<DBusReply> call(const ObjectRef& object, const char* interface, const char* method,
                                const std::vector<Argument>& arguments, Deadline deadline);
  // Of the last call.
  DBusFailure failure() const { return failure_; }

 private:
  explicit DBusCaller(DBusConnection* connection) : connection_(connection) {}

  DBusConnection* connection_;
  DBusFailure failure_ = DBusFailure::none;
};

}  // namespace vantora::atspi
