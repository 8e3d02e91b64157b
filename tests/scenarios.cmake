# Each scenario is a test of its own and runs in a throw-away device; one with the line "serial"
# measures time and runs while no other test does.
add_executable(scenario_runner
  runner/accept.cpp runner/actions.cpp runner/channels.cpp runner/runner.cpp runner/script.cpp)
target_include_directories(scenario_runner PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(scenario_runner PRIVATE device)
add_dependencies(scenario_runner kovotcp)

file(GLOB KOVO_SCENARIOS CONFIGURE_DEPENDS scenarios/*.txt)
foreach(scenario ${KOVO_SCENARIOS})
  get_filename_component(name ${scenario} NAME_WE)
  add_test(NAME scenario.${name} COMMAND ${PROJECT_SOURCE_DIR}/device/enter
    $<TARGET_FILE:scenario_runner> ${scenario})
  file(STRINGS ${scenario} serial REGEX "^serial$")
  list(LENGTH serial is_serial)
  set_tests_properties(scenario.${name} PROPERTIES TIMEOUT 240 RUN_SERIAL ${is_serial}
    # The daemon ends at once, whatever its threads are doing.
    ENVIRONMENT "KOVOTCP=$<TARGET_FILE:kovotcp>;TSAN_OPTIONS=report_thread_leaks=0:atexit_sleep_ms=0")
endforeach()
