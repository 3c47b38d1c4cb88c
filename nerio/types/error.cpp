#include "nerio/types/error.h"

#include <utility>

#include "nerio/types/utf8.h"

namespace nerio {

Error::Error(std::int32_t number, Text source, Text description)
    : number_(number), source_(std::move(source)), description_(std::move(description)), what_(ToUtf8(description_)) {}

void RaiseObjectNotSet() {
  throw Error(kErrObjectNotSet, u"", u"Variabile oggetto o variabile del blocco With non impostata");
}

}  // namespace nerio
