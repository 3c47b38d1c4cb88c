# The tests of the registry on the file system.
target_sources(nerio_tests PRIVATE
  crc32c_test.cpp
  entry_look_test.cpp
  key_cache_test.cpp
  key_name_test.cpp
  registry_damage_test.cpp
  registry_limits_test.cpp
  registry_rights_test.cpp
  registry_test.cpp
  stored_registry.cpp
  values_format_test.cpp)

# System calls that fail, and power that fails between them: the layer's calls pass through the test first.
nerio_program(registry_faults_tests
  registry_faults_test.cpp
  registry_power_cut_test.cpp
  stored_registry.cpp
  system_call_seam.cpp
  DEPENDS nerio_testing nerio_platform GTest::gmock_main)
set(wrapped pread pwrite lseek fdatasync fsync mkdirat unlinkat renameat renameat2 fchmod fchown faccessat getrandom
            fcntl openat syscall)
list(TRANSFORM wrapped PREPEND "LINKER:--wrap=")
target_link_options(registry_faults_tests PRIVATE ${wrapped})
nerio_add_gtest(registry.faults registry_faults_tests "RegistryFaults*:*/RegistryFaults*")
nerio_add_gtest(registry.power_cut registry_faults_tests "RegistryPowerCut*")

# Several processes and threads at once, and processes that are killed.
nerio_program(registry_stress_tests
  registry_kill_test.cpp
  registry_stress_test.cpp
  stored_registry.cpp
  DEPENDS nerio_testing nerio_platform GTest::gmock_main)
nerio_add_gtest(kill.registry registry_stress_tests "Kill.*")
nerio_add_gtest(stress.processes registry_stress_tests "Stress.EightProcesses*")
nerio_add_gtest(stress.threads registry_stress_tests "Stress.FourThreads*")
set_tests_properties(stress.threads PROPERTIES LABELS tsan)
