#include "nerio/registry/messages.h"

#include <gtest/gtest.h>

#include "nerio/types/utf8.h"

namespace nerio::registry {
namespace {

struct Message {
  std::int32_t number;
  const char* utf8;
};

const Message kMessages[] = {
    {0, "Ramo predefinito non valido"},
    {1, "Errore durante la creazione del ramo"},
    {2, "Chiave non trovata"},
    {3, "Errore durante la creazione delle chiave"},
    {4, "Errore durante la memorizzazione del valore"},
    {5, "Errore durante la rimozione delle chiave"},
    {6, ""},
    {-1, ""},
    {-2147221503, ""},
    {2147483647, ""},
};

TEST(MessaggioErrore, HasSixMessagesAndTheEmptyTextForAnyOtherNumber) {
  for (const Message& row : kMessages) EXPECT_EQ(ToUtf8(MessaggioErrore(row.number)), row.utf8) << row.number;
}

}  // namespace
}  // namespace nerio::registry
