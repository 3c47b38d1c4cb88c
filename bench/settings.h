// What the benchmarks of settings share: names of branches and values, a folder on a disk, and the peers that keep
// settings in a database.

#ifndef NERIO_BENCH_SETTINGS_H
#define NERIO_BENCH_SETTINGS_H

#include <lmdb.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "nerio/types/text.h"

namespace nerio::bench {

/// Walks through all branches and values in an order that repeats late: no factor in common with their numbers.
constexpr std::size_t kStride = 7919;

inline Text Numbered(TextView name, std::size_t number) {
  const std::string digits = std::to_string(number);
  return Text(name) + Text(digits.begin(), digits.end());
}

/// Returns an ASCII text as bytes.
inline std::string Bytes(TextView text) { return {text.begin(), text.end()}; }

[[noreturn]] inline void Fail(const std::string& what) { throw std::runtime_error(what); }

/// On a disk, and not in memory as the system's temporary folder may be.
constexpr char kOnDisk[] = "/var/tmp";
constexpr char kInMemory[] = "/dev/shm";

/// An empty folder, removed in the end.
class Folder {
 public:
  explicit Folder(const char* parent = kOnDisk) {
    std::string pattern = std::string(parent) + "/nerio-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) Fail("cannot make a folder like " + pattern);
    path_ = pattern;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  const std::filesystem::path& path() const { return path_; }
  /// Makes a folder inside.
  std::string Make(const char* name) const {
    std::filesystem::create_directory(path_ / name);
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

/// LMDB, its environment held open. Each call is a transaction of its own; writing is synced, as it is by default.
class Lmdb {
 public:
  explicit Lmdb(const std::string& folder) {
    Check(mdb_env_create(&environment_));
    Check(mdb_env_set_mapsize(environment_, std::size_t{1} << 30));
    Check(mdb_env_open(environment_, folder.c_str(), 0, 0600));
    MDB_txn* transaction = nullptr;
    Check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
    Check(mdb_dbi_open(transaction, nullptr, 0, &database_));
    Check(mdb_txn_commit(transaction));
  }
  Lmdb(const Lmdb&) = delete;
  Lmdb& operator=(const Lmdb&) = delete;
  ~Lmdb() { mdb_env_close(environment_); }

  bool Get(std::string_view key, std::string& value) {
    MDB_txn* transaction = nullptr;
    if (mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &transaction) != 0) return false;
    MDB_val wanted = View(key);
    MDB_val found{};
    const bool there = mdb_get(transaction, database_, &wanted, &found) == 0;
    if (there) value.assign(static_cast<const char*>(found.mv_data), found.mv_size);
    mdb_txn_abort(transaction);
    return there;
  }

  bool Put(std::string_view key, std::string_view value) {
    MDB_txn* transaction = nullptr;
    if (mdb_txn_begin(environment_, nullptr, 0, &transaction) != 0) return false;
    MDB_val name = View(key);
    MDB_val data = View(value);
    if (mdb_put(transaction, database_, &name, &data, 0) == 0) return mdb_txn_commit(transaction) == 0;
    mdb_txn_abort(transaction);
    return false;
  }

  /// For filling it: whether a commit waits for the disk.
  void SetSynced(bool synced) { Check(mdb_env_set_flags(environment_, MDB_NOSYNC, synced ? 0 : 1)); }

 private:
  static void Check(int status) {
    if (status != 0) Fail(std::string("LMDB: ") + mdb_strerror(status));
  }
  static MDB_val View(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }

  MDB_env* environment_ = nullptr;
  MDB_dbi database_ = 0;
};

/// SQLite in WAL mode, held open with its statements prepared. Each call is a transaction of its own; writing is synced
/// (synchronous FULL).
class Sqlite {
 public:
  explicit Sqlite(const std::string& file) {
    Check(sqlite3_open(file.c_str(), &database_));
    Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
        "CREATE TABLE setting(key TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID");
    get_ = Prepare("SELECT value FROM setting WHERE key = ?1");
    put_ = Prepare("INSERT INTO setting VALUES(?1, ?2) ON CONFLICT(key) DO UPDATE SET value = ?2");
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;
  ~Sqlite() {
    sqlite3_finalize(get_);
    sqlite3_finalize(put_);
    sqlite3_close(database_);
  }

  bool Get(std::string_view key, std::string& value) {
    Bind(get_, 1, key);
    const bool there = sqlite3_step(get_) == SQLITE_ROW;
    if (there) {
      value.assign(reinterpret_cast<const char*>(sqlite3_column_text(get_, 0)),
                   static_cast<std::size_t>(sqlite3_column_bytes(get_, 0)));
    }
    sqlite3_reset(get_);
    return there;
  }

  bool Put(std::string_view key, std::string_view value) {
    Bind(put_, 1, key);
    Bind(put_, 2, value);
    const bool done = sqlite3_step(put_) == SQLITE_DONE;
    return sqlite3_reset(put_) == SQLITE_OK && done;
  }

  void Run(const char* statements) { Check(sqlite3_exec(database_, statements, nullptr, nullptr, nullptr)); }

 private:
  void Check(int status) {
    if (status != SQLITE_OK) Fail(std::string("SQLite: ") + sqlite3_errmsg(database_));
  }
  sqlite3_stmt* Prepare(const char* text) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_, text, -1, &statement, nullptr));
    return statement;
  }
  static void Bind(sqlite3_stmt* statement, int place, std::string_view text) {
    sqlite3_bind_text(statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* get_ = nullptr;
  sqlite3_stmt* put_ = nullptr;
};

}  // namespace nerio::bench

#endif  // NERIO_BENCH_SETTINGS_H
