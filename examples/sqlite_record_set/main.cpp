// Reads the customers of a database through the layer: fills the record set, then reads its fields with a text in place
// of null.

#include <cstdlib>
#include <iostream>
#include <memory>

#include "nerio/support/records.h"
#include "nerio/types/utf8.h"
#include "sqlite_record_set.h"

namespace {

constexpr char kCustomers[] =
    "CREATE TABLE clienti (nome TEXT, telefono TEXT);"
    "INSERT INTO clienti VALUES ('Bianchi', '051 123456'), ('Rossi', NULL), ('Verdi', '06 654321');";

void ShowCustomers(sqlite3* database) {
  nerio::examples::SqliteRecordSet customers(database, "SELECT nome, telefono FROM clienti ORDER BY nome");
  std::cout << "records counted at first: " << customers.RecordCount() << '\n';
  nerio::PopulateRecordset(customers);
  std::cout << "records counted after PopulateRecordset: " << customers.RecordCount() << '\n';

  nerio::examples::SqliteField name = customers.Field(u"nome");
  nerio::examples::SqliteField telephone = customers.Field(u"telefono");
  for (; customers.get_EOF() == nerio::False; customers.MoveNext()) {
    std::cout << nerio::ToUtf8(std::get<nerio::Text>(nerio::GetFieldValue(name, u""))) << ": "
              << nerio::ToUtf8(std::get<nerio::Text>(nerio::GetFieldValue(telephone, u"nessun telefono"))) << '\n';
  }
}

}  // namespace

int main() {
  sqlite3* opened = nullptr;
  const int status = sqlite3_open(":memory:", &opened);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, &sqlite3_close);
  if (status != SQLITE_OK || sqlite3_exec(opened, kCustomers, nullptr, nullptr, nullptr) != SQLITE_OK) {
    std::cerr << sqlite3_errmsg(opened) << '\n';
    return EXIT_FAILURE;
  }
  try {
    ShowCustomers(database.get());
  } catch (const nerio::Error& error) {
    std::cerr << nerio::ToUtf8(error.source()) << " " << error.number() << ": " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
