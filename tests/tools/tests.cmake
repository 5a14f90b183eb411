# qsfpctl end to end: the commands run in-process through the program's own
# entry (qsfpctl::run), on each backend; JSON output is validated against the
# committed schemas with Debian's python3-jsonschema, metrics with the parser
# of Debian's python3-prometheus-client.
find_program(QSFPCTL_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(NOT QSFPCTL_PYTHON)
  message(FATAL_ERROR "qsfpctl tests need /usr/bin/python3 with python3-jsonschema (scripts/install-deps.sh)")
endif()

add_library(qsfpctl_test_harness STATIC tools/qsfpctl_harness.cpp)
target_link_libraries(qsfpctl_test_harness PUBLIC qsfpctl_commands PRIVATE qsfp_warnings)
target_compile_definitions(qsfpctl_test_harness PRIVATE
  QSFPCTL_PYTHON="${QSFPCTL_PYTHON}"
  QSFPCTL_VALIDATOR="${CMAKE_CURRENT_SOURCE_DIR}/tools/validate_json.py"
  QSFPCTL_METRICS_PARSER="${CMAKE_CURRENT_SOURCE_DIR}/tools/parse_metrics.py"
  QSFPCTL_SCHEMA_DIR="${PROJECT_SOURCE_DIR}/tools/qsfpctl/schemas")

qsfp_test(tools/tools_qsfpctl_card_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_image_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_sysfs_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_i2c_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_program_test LIBRARIES qsfpctl_test_harness)
target_compile_definitions(tools_qsfpctl_program_test PRIVATE QSFPCTL_PROGRAM="$<TARGET_FILE:qsfpctl>")
add_dependencies(tools_qsfpctl_program_test qsfpctl)
# The parallel downloads (a thread per cage, progress read from the bus tap)
# and the metrics server thread also run under ThreadSanitizer.
qsfp_test(tools/tools_qsfpctl_cdb_test LIBRARIES qsfpctl_test_harness LABELS concurrency)
qsfp_test(tools/tools_qsfpctl_metrics_test LIBRARIES qsfpctl_test_harness LABELS concurrency)
target_compile_definitions(tools_qsfpctl_metrics_test PRIVATE QSFPCTL_PROGRAM="$<TARGET_FILE:qsfpctl>")
add_dependencies(tools_qsfpctl_metrics_test qsfpctl)
qsfp_test(tools/tools_qsfpctl_replay_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_si_watch_test LIBRARIES qsfpctl_test_harness)
qsfp_test(tools/tools_qsfpctl_terminal_test LIBRARIES qsfpctl_test_harness)
target_compile_definitions(tools_qsfpctl_terminal_test PRIVATE QSFPCTL_PROGRAM="$<TARGET_FILE:qsfpctl>")
add_dependencies(tools_qsfpctl_terminal_test qsfpctl)
# The man page made from docs/qsfpctl.md renders cleanly.
add_test(NAME qsfpctl_man_page
         COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/tools/check_man_page.sh ${QSFPCTL_MAN_PAGE})
# Every example of the manual and the README is the tool's real output: each
# command is run again and its output compared line by line.
add_test(NAME qsfpctl_doc_examples
         COMMAND ${QSFPCTL_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/tools/check_doc_examples.py
                 $<TARGET_FILE:qsfpctl> ${PROJECT_SOURCE_DIR}
                 ${PROJECT_SOURCE_DIR}/docs/qsfpctl.md ${PROJECT_SOURCE_DIR}/README.md)
