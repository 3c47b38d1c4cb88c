#include "examples/sqlite_record_set/sqlite_record_set.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "nerio/support/records.h"
#include "nerio/types/utf8.h"
#include "tests/testing/raised_error.h"
#include "tests/testing/temporary_folder.h"

namespace nerio::examples {
namespace {

namespace fs = std::filesystem;

class Database {
 public:
  explicit Database(const std::string& file = ":memory:") {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(file.c_str(), &opened);
    handle_.reset(opened);
    if (status != SQLITE_OK) throw std::runtime_error("cannot open " + file);
  }

  sqlite3* get() const { return handle_.get(); }

  void Execute(const std::string& sql) {
    if (sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(get()));
    }
  }

  // Makes `act` available as the function act(n) of SQL, which returns n when it does nothing else.
  void DefineFunction(std::function<void(sqlite3_context*, sqlite3_int64)> act) {
    act_ = std::move(act);
    sqlite3_create_function(
        get(), "act", 1, SQLITE_UTF8, this,
        [](sqlite3_context* context, int, sqlite3_value** arguments) {
          const sqlite3_int64 n = sqlite3_value_int64(arguments[0]);
          sqlite3_result_int64(context, n);
          static_cast<Database*>(sqlite3_user_data(context))->act_(context, n);
        },
        nullptr, nullptr);
  }

 private:
  std::unique_ptr<sqlite3, decltype(&sqlite3_close)> handle_{nullptr, &sqlite3_close};
  std::function<void(sqlite3_context*, sqlite3_int64)> act_;
};

constexpr char kNumbers[] =
    "WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < 1000) ";

TEST(SqliteRecordSet, PopulateRecordset_MakesTheRecordCountCoverEveryRecord) {
  Database database;
  SqliteRecordSet set(database.get(), std::string(kNumbers) + "SELECT n FROM numbers");
  EXPECT_EQ(set.RecordCount(), 1u);
  PopulateRecordset(set);
  EXPECT_EQ(set.RecordCount(), 1000u);
  SqliteField n = set.Field(u"n");
  for (std::int64_t expected = 1; expected <= 1000; ++expected, set.MoveNext()) {
    ASSERT_EQ(set.get_EOF(), False);
    ASSERT_EQ(n.get_Value(), Variant(expected));
  }
  EXPECT_EQ(set.get_EOF(), True);
}

TEST(SqliteRecordSet, PopulateRecordset_OneRecord_StandsOnIt) {
  Database database;
  SqliteRecordSet set(database.get(), "SELECT 'solo' AS nome");
  PopulateRecordset(set);
  EXPECT_EQ(set.RecordCount(), 1u);
  EXPECT_EQ(set.Field(u"nome").get_Value(), Variant(Text(u"solo")));
}

TEST(SqliteRecordSet, PopulateRecordset_EmptySet_IsNotMoved) {
  Database database;
  SqliteRecordSet set(database.get(), "SELECT 1 AS n WHERE 0");
  EXPECT_EQ(set.get_BOF(), True);
  EXPECT_EQ(set.get_EOF(), True);
  EXPECT_FALSE(testing::ErrorOf([&] { PopulateRecordset(set); }).has_value());
  EXPECT_EQ(set.RecordCount(), 0u);

  // A move would have raised.
  const auto error = testing::ErrorOf([&] { set.MoveLast(0); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), kErrNoCurrentRecord);
}

TEST(SqliteRecordSet, PopulateRecordset_SetBesideItsRecords_StaysThere) {
  Database database;
  SqliteRecordSet set(database.get(), std::string(kNumbers) + "SELECT n FROM numbers");
  set.MovePrevious();
  EXPECT_EQ(set.get_BOF(), True);
  PopulateRecordset(set);
  EXPECT_EQ(set.get_BOF(), True);
  EXPECT_EQ(set.RecordCount(), 1u);

  set.MoveLast(0);
  set.MoveNext();
  PopulateRecordset(set);
  EXPECT_EQ(set.get_EOF(), True);
}

TEST(SqliteRecordSet, GetFieldValue_EveryStorageClass_KeepsItsType) {
  Database database;
  database.Execute("CREATE TABLE t (testo, intero, reale, nullo, bytes, vuoto)");
  database.Execute("INSERT INTO t VALUES (char(99, 0, 232, 128512), -9223372036854775808, 0.1, NULL, x'00FF10', x'')");
  SqliteRecordSet set(database.get(), "SELECT * FROM t");
  const auto value = [&set](TextView name) {
    SqliteField field = set.Field(name);
    return GetFieldValue(field, u"0");
  };
  EXPECT_EQ(value(u"testo"), Variant(Text(u"c\0\u00E8\U0001F600", 5)));
  EXPECT_EQ(value(u"intero"), Variant(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(value(u"reale"), Variant(0.1));
  EXPECT_EQ(value(u"nullo"), Variant(Text(u"0")));
  EXPECT_EQ(value(u"bytes"), Variant(Bytes{0x00, 0xFF, 0x10}));
  EXPECT_EQ(value(u"vuoto"), Variant(Bytes{}));
}

TEST(SqliteRecordSet, Moves_BeyondTheRecords_RaiseNoCurrentRecord) {
  Database database;
  SqliteRecordSet set(database.get(), "SELECT 1 AS n UNION SELECT 2");
  SqliteField n = set.Field(u"n");
  set.MovePrevious();
  EXPECT_EQ(testing::ErrorOf([&] { set.MovePrevious(); }).value().number(), kErrNoCurrentRecord);
  EXPECT_EQ(testing::ErrorOf([&] { n.get_Value(); }).value().number(), kErrNoCurrentRecord);
  set.MoveNext();
  EXPECT_EQ(n.get_Value(), Variant(std::int64_t{1}));
  set.MoveNext();
  set.MoveNext();
  EXPECT_EQ(testing::ErrorOf([&] { set.MoveNext(); }).value().number(), kErrNoCurrentRecord);
  EXPECT_EQ(testing::ErrorOf([&] { n.get_Value(); }).value().number(), kErrNoCurrentRecord);
  set.MovePrevious();
  EXPECT_EQ(n.get_Value(), Variant(std::int64_t{2}));
}

TEST(SqliteRecordSet, Field_UnknownName_RaisesItemNotFound) {
  Database database;
  SqliteRecordSet set(database.get(), "SELECT 1 AS n");
  const auto error = testing::ErrorOf([&] { set.Field(u"m"); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), kErrItemNotFound);
  EXPECT_EQ(ToUtf8(error->source()), "SqliteRecordSet");
  EXPECT_EQ(ToUtf8(error->description()), "Elemento non trovato nell'insieme");
}

TEST(SqliteRecordSet, WrongStatement_RaisesTheDatabasesError) {
  Database database;
  const auto error = testing::ErrorOf([&] { SqliteRecordSet(database.get(), "SELECT n FROM nessuna"); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), SQLITE_ERROR);
  EXPECT_EQ(ToUtf8(error->source()), "sqlite");
  EXPECT_EQ(ToUtf8(error->description()), "no such table: nessuna");
  EXPECT_EQ(testing::ErrorOf([&] { SqliteRecordSet(database.get(), "-- niente"); }).value().number(), SQLITE_MISUSE);
}

TEST(SqliteRecordSet, PopulateRecordset_FunctionThatFailsMidway_PassesTheDatabasesErrorOn) {
  Database database;
  database.DefineFunction([](sqlite3_context* context, sqlite3_int64 n) {
    if (n != 500) return;
    sqlite3_result_error(context, "disco guasto", -1);
    sqlite3_result_error_code(context, SQLITE_IOERR_READ);
  });
  SqliteRecordSet set(database.get(), std::string(kNumbers) + "SELECT act(n) AS n FROM numbers");
  for (int attempt = 1; attempt <= 2; ++attempt) {  // the set does not begin anew
    const auto error = testing::ErrorOf([&] { PopulateRecordset(set); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->number(), SQLITE_IOERR_READ);
    EXPECT_EQ(ToUtf8(error->source()), "sqlite");
    EXPECT_EQ(ToUtf8(error->description()), sqlite3_errmsg(database.get()));
    EXPECT_EQ(set.RecordCount(), 499u);
  }
}

TEST(SqliteRecordSet, PopulateRecordset_Interrupted_PassesTheDatabasesErrorOn) {
  Database database;
  database.DefineFunction([&database](sqlite3_context*, sqlite3_int64 n) {
    if (n == 500) sqlite3_interrupt(database.get());
  });
  SqliteRecordSet set(database.get(), std::string(kNumbers) + "SELECT act(n) AS n FROM numbers");
  const auto error = testing::ErrorOf([&] { PopulateRecordset(set); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), SQLITE_INTERRUPT);
  EXPECT_EQ(ToUtf8(error->source()), "sqlite");
  EXPECT_EQ(ToUtf8(error->description()), "interrupted");
}

TEST(SqliteRecordSet, PopulateRecordset_DamagedFile_PassesTheDatabasesErrorOn) {
  testing::TemporaryFolder folder;
  const fs::path file = folder.path() / "prova.db";
  {
    Database database(file.string());
    database.Execute("PRAGMA page_size = 1024; CREATE TABLE t (n, testo)");
    database.Execute("INSERT INTO t " + std::string(kNumbers) + "SELECT n, hex(zeroblob(100)) FROM numbers");
  }
  // A page in the middle of the file loses its header.
  {
    std::fstream damaged(file, std::ios::in | std::ios::out | std::ios::binary);
    const auto pages = static_cast<std::streamoff>(fs::file_size(file) / 1024);
    ASSERT_TRUE(damaged.seekp(pages / 2 * 1024).write("\xFF\xFF\xFF\xFF", 4).flush().good());
  }
  Database database(file.string());
  SqliteRecordSet set(database.get(), "SELECT n FROM t");
  const auto error = testing::ErrorOf([&] { PopulateRecordset(set); });
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->number(), SQLITE_CORRUPT);
  EXPECT_EQ(ToUtf8(error->source()), "sqlite");
  EXPECT_EQ(ToUtf8(error->description()), "database disk image is malformed");
  EXPECT_GT(set.RecordCount(), 100u);
  EXPECT_LT(set.RecordCount(), 1000u);
}

}  // namespace
}  // namespace nerio::examples
