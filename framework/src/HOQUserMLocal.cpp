#include <hoq/HOQUserMLocal.h>

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstddef>
#include <mutex>

namespace HOQ {
namespace {

constexpr std::uint32_t kNoId = 0xFFFFFFFF;
constexpr std::size_t kFirstBufferBytes = 4 * 1024;
constexpr std::size_t kMaxBufferBytes = 16 * 1024 * 1024;  // a group of a million members fits

// The two databases have the same calls under two names.
struct Users {
  using Entry = passwd;
  static std::uint32_t id(const Entry& entry) { return entry.pw_uid; }
  static const char* name(const Entry& entry) { return entry.pw_name; }
  static void rewind() { setpwent(); }
  static void close() { endpwent(); }
  static int next(Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getpwent_r(entry, buffer, size, found);
  }
  static int byName(const char* name, Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getpwnam_r(name, entry, buffer, size, found);
  }
  static int byId(std::uint32_t id, Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getpwuid_r(id, entry, buffer, size, found);
  }
};

struct Groups {
  using Entry = group;
  static std::uint32_t id(const Entry& entry) { return entry.gr_gid; }
  static const char* name(const Entry& entry) { return entry.gr_name; }
  static void rewind() { setgrent(); }
  static void close() { endgrent(); }
  static int next(Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getgrent_r(entry, buffer, size, found);
  }
  static int byName(const char* name, Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getgrnam_r(name, entry, buffer, size, found);
  }
  static int byId(std::uint32_t id, Entry* entry, char* buffer, std::size_t size, Entry** found) {
    return getgrgid_r(id, entry, buffer, size, found);
  }
};

// One entry, read into a buffer that grows with it.
template <class Database>
class Reader {
 public:
  using Entry = typename Database::Entry;

  Reader() : buffer_(kFirstBufferBytes) {}

  // The entry that `call` reads, or null: none is left, or `error` says why.
  template <class Call>
  const Entry* read(Call call, int* error) {
    Entry* found = nullptr;
    while ((*error = call(&entry_, buffer_.data(), buffer_.size(), &found)) == ERANGE &&
           buffer_.size() < kMaxBufferBytes)
      buffer_.resize(buffer_.size() * 2);
    if (*error == ENOENT || *error == ESRCH) *error = 0;  // how some sources say "none"
    return *error == 0 ? found : nullptr;
  }

 private:
  Entry entry_;
  std::vector<char> buffer_;
};

// The system's cursor through one database. There is only one in the process.
template <class Database>
class Cursor {
 public:
  Cursor() : lock_(mutex_) { Database::rewind(); }
  ~Cursor() { Database::close(); }
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

 private:
  inline static std::mutex mutex_;
  const std::lock_guard<std::mutex> lock_;
};

template <class Database, class Row>
int readAll(std::vector<Row>& rows) {
  std::vector<Row> read;
  Reader<Database> reader;
  int error = 0;
  {
    const Cursor<Database> cursor;
    while (const auto* entry = reader.read(&Database::next, &error))
      read.push_back(Row{Database::name(*entry), Database::id(*entry)});
  }
  if (error != 0) {
    errno = error;
    return -1;
  }
  rows.insert(rows.end(), std::make_move_iterator(read.begin()),
              std::make_move_iterator(read.end()));
  return 0;
}

// A name counts before an id, where both are given.
template <class Database, class Row, class Selector>
int read(std::vector<Row>& rows, const Selector& which) {
  if (which.name.empty() && which.id == kNoId) return readAll<Database>(rows);
  Reader<Database> reader;
  int error = 0;
  const auto* entry = reader.read(
      [&which](auto... rest) {
        return which.name.empty() ? Database::byId(which.id, rest...)
                                  : Database::byName(which.name.c_str(), rest...);
      },
      &error);
  if (error != 0) {
    errno = error;
    return -1;
  }
  if (entry != nullptr) rows.push_back(Row{Database::name(*entry), Database::id(*entry)});
  return 0;
}

}  // namespace

HOQUserMLocal::HOQUserMLocal(const HOQAccessProviderPtr&) {}

int HOQUserMLocal::getUser(std::vector<HOQUser>& users, const HOQUserNameID& which) const {
  return read<Users>(users, which);
}

int HOQUserMLocal::getGroup(std::vector<HOQGroup>& groups, const HOQGroupNameID& which) const {
  return read<Groups>(groups, which);
}

}  // namespace HOQ
