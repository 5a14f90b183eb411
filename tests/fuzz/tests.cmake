# Fuzz targets of the decoders, one per entry point. Every build compiles each
# target's LLVMFuzzerTestOneInput with a replay main and replays the target's
# corpus (tests/fuzz/corpus/<target>) as a test; with QSFP_BUILD_FUZZ (clang,
# preset "fuzz") the libFuzzer binaries are built as well:
#   build/fuzz/tests/<target> tests/fuzz/corpus/<target> -runs=1000000
set(QSFP_FUZZ_DIR ${CMAKE_CURRENT_SOURCE_DIR}/fuzz)

add_library(qsfp_fuzz_replay_main STATIC ${QSFP_FUZZ_DIR}/replay_main.cpp)
target_link_libraries(qsfp_fuzz_replay_main PRIVATE qsfp_warnings)

if(QSFP_BUILD_FUZZ)
  # Coverage feedback from the library itself, not only from the targets.
  target_compile_options(qsfp_core PRIVATE -fsanitize=fuzzer-no-link)
endif()

# qsfp_fuzz_target(<name> <source> [DEFINITIONS ...])
function(qsfp_fuzz_target name source)
  cmake_parse_arguments(F "" "" "DEFINITIONS" ${ARGN})
  add_executable(${name}_replay ${QSFP_FUZZ_DIR}/${source})
  target_include_directories(${name}_replay PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_definitions(${name}_replay PRIVATE ${F_DEFINITIONS})
  target_link_libraries(${name}_replay PRIVATE qsfp_core qsfp_fuzz_replay_main qsfp_warnings)
  add_test(NAME fuzz_corpus_${name} COMMAND ${name}_replay ${QSFP_FUZZ_DIR}/corpus/${name})
  if(QSFP_BUILD_FUZZ)
    add_executable(${name} ${QSFP_FUZZ_DIR}/${source})
    target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_compile_definitions(${name} PRIVATE ${F_DEFINITIONS})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_libraries(${name} PRIVATE qsfp_core qsfp_warnings)
    set_property(GLOBAL APPEND PROPERTY QSFP_FUZZERS ${name})
  endif()
endfunction()

# The page decoders share one source; each is its own target.
foreach(decoder
    "sff8636_id qsfp8636_xcvr_decode_qsfp8636_id QSFP8636_ID_RECORD_ROWS"
    "sff8636_status qsfp8636_xcvr_decode_qsfp8636_status QSFP8636_STATUS_RECORD_ROWS"
    "qsfp28_flat_status qsfp28_xcvr_decode_qsfp28_status QSFP28_FLAT_STATUS_RECORD_ROWS"
    "sff8636_info qsfp8636_xcvr_decode_qsfp8636_korva_info QSFP8636_INFO_RECORD_ROWS"
    "sff8636_threshold qsfp8636_xcvr_decode_qsfp8636_threshold QSFP8636_THRESHOLD_RECORD_ROWS"
    "cmis_v0_2_id qsfpdd_xcvr_v0_2_decode_id QSFPDD_ID_RECORD_ROWS"
    "cmis_v0_3_id qsfpdd_xcvr_v0_3_decode_id QSFPDD_ID_RECORD_ROWS"
    "cmis_v0_4_id qsfpdd_xcvr_v0_4_decode_id QSFPDD_ID_RECORD_ROWS"
    "cmis_def_id qsfpdd_xcvr_def_decode_id QSFPDD_ID_RECORD_ROWS"
    "cmis_info qsfpdd_xcvr_decode_korva_info QSFPDD_INFO_RECORD_ROWS"
    "cmis_threshold qsfpdd_xcvr_decode_threshold QSFPDD_THRESHOLD_RECORD_ROWS"
    "cmis_lane_monitor qsfpdd_xcvr_decode_chnl_interrupt QSFPDD_LANE_RECORD_ROWS")
  separate_arguments(parts UNIX_COMMAND "${decoder}")
  list(GET parts 0 target)
  list(GET parts 1 function)
  list(GET parts 2 rows)
  qsfp_fuzz_target(fuzz_${target} page_decoder_fuzz.cpp DEFINITIONS FUZZ_DECODER=${function} FUZZ_ROWS=${rows})
endforeach()

qsfp_fuzz_target(fuzz_sff8636_lane_info sff8636_lane_info_fuzz.cpp)
qsfp_fuzz_target(fuzz_cmis_status cmis_status_fuzz.cpp)
qsfp_fuzz_target(fuzz_cmis_id cmis_id_fuzz.cpp)
qsfp_fuzz_target(fuzz_sff8636_show_text sff8636_show_text_fuzz.cpp)
qsfp_fuzz_target(fuzz_cmis_id_view cmis_id_view_fuzz.cpp)
qsfp_fuzz_target(fuzz_cmis_full_view cmis_full_view_fuzz.cpp)
qsfp_fuzz_target(fuzz_page_dump page_dump_fuzz.cpp)
qsfp_fuzz_target(fuzz_compliance compliance_fuzz.cpp)
qsfp_fuzz_target(fuzz_value_format value_format_fuzz.cpp)

# Bring-up and port operations against random memory and a failing access: on
# the emulator and the virtual clock.
qsfp_fuzz_target(fuzz_bring_up bring_up_fuzz.cpp)
target_link_libraries(fuzz_bring_up_replay PRIVATE qsfp_sim qsfp_sim_usleep)
if(QSFP_BUILD_FUZZ)
  target_link_libraries(fuzz_bring_up PRIVATE qsfp_sim qsfp_sim_usleep)
endif()

qsfp_fuzz_target(fuzz_cmis_bring_up cmis_bring_up_fuzz.cpp)
target_link_libraries(fuzz_cmis_bring_up_replay PRIVATE qsfp_sim qsfp_sim_usleep)
if(QSFP_BUILD_FUZZ)
  target_link_libraries(fuzz_cmis_bring_up PRIVATE qsfp_sim qsfp_sim_usleep)
endif()

# CDB commands against random CDB answers; SI, mode and lane operations with
# random arguments; the coherent driver and its SDK against a damaged ZR.
foreach(target cdb_random_replies si_mode_args coherent_ops)
  qsfp_fuzz_target(fuzz_${target} ${target}_fuzz.cpp)
  target_link_libraries(fuzz_${target}_replay PRIVATE qsfp_sim qsfp_sim_usleep)
  if(QSFP_BUILD_FUZZ)
    target_link_libraries(fuzz_${target} PRIVATE qsfp_sim qsfp_sim_usleep)
  endif()
endforeach()

# All the libFuzzer binaries, for a brief fuzzing run (scripts/fuzz.sh).
if(QSFP_BUILD_FUZZ)
  get_property(qsfp_fuzzers GLOBAL PROPERTY QSFP_FUZZERS)
  add_custom_target(fuzzers DEPENDS ${qsfp_fuzzers})
endif()
