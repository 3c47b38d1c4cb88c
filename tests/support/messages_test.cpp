#include "nerio/support/messages.h"

#include <gtest/gtest.h>

#include "nerio/types/utf8.h"

namespace nerio {
namespace {

struct Template {
  std::int32_t code;
  const char* utf8;
};

const Template kTemplates[] = {
    {-2147221503, "Il parametro [{0}] non pu\xC3\xB2 essere nullo o vuoto"},
    {-2147221502, "La versione [{0}] del messaggio di inizializzazione non \xC3\xA8 supportata"},
    {-2147221501, "La funzionalit\xC3\xA0 richiesta non \xC3\xA8 disponibile"},
    {0, "Errore non definito"},
    {ObjectErrorBase, "Errore non definito"},
    {-2147221500, "Errore non definito"},
    {1, "Errore non definito"},
};

TEST(GetErrorMessage, AnswersTheTemplateOfACodeAndOneTextForAllOthers) {
  for (const Template& row : kTemplates) EXPECT_EQ(ToUtf8(GetErrorMessage(row.code)), row.utf8) << row.code;
}

}  // namespace
}  // namespace nerio
