#pragma once

#include "nerio/hosts/portable/text/code_page_1252.h"
#include "tests/testing/failing_registry.h"
#include "tests/testing/in_memory_registry.h"
#include "tests/testing/recorder.h"
#include "tests/testing/registry_access.h"

namespace nerio::testing {

/// What the tests of the registry access stand on: a registry in memory, a call of which can fail, and a recorder of
/// all calls. Tests arrange and inspect the model; what they test calls the recorder.
struct RegistryWorld {
  InMemoryRegistry model;
  FailingRegistry failing{model};
  RegistryRecorder recorder{failing};
  platform::CodePage1252 codePage;
};

}  // namespace nerio::testing
