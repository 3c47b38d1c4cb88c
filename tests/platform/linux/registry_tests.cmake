# The tests of the registry on the file system.
target_sources(nerio_tests PRIVATE
  crc32c_test.cpp
  key_name_test.cpp
  registry_damage_test.cpp
  registry_test.cpp
  stored_registry.cpp
  values_format_test.cpp)
