# Suites of the decoders. They also reach the decoders' internal headers.
find_package(nlohmann_json REQUIRED)

# The real module images and their page layouts.
add_library(qsfp_decode_test_images STATIC ${CMAKE_CURRENT_SOURCE_DIR}/decode/image_files.cpp)
target_include_directories(qsfp_decode_test_images PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_definitions(qsfp_decode_test_images PRIVATE QSFP_TEST_DATA_DIR="${QSFP_TEST_DATA_DIR}")
target_link_libraries(qsfp_decode_test_images PUBLIC nlohmann_json::nlohmann_json PRIVATE qsfp_warnings)

function(qsfp_decode_test name)
  qsfp_test(decode/${name} ${ARGN})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
endfunction()

qsfp_decode_test(decode_value_format_test)
qsfp_decode_test(decode_sff8636_id_decoder_test)
qsfp_decode_test(decode_sff8636_status_decoder_test)
qsfp_decode_test(decode_sff8636_info_decoder_test)
qsfp_decode_test(decode_sff8636_threshold_decoder_test)
qsfp_decode_test(decode_sff8636_lane_decoder_test)
qsfp_decode_test(decode_compliance_test LIBRARIES qsfp_decode_test_images)
qsfp_decode_test(decode_page_dump_test)
qsfp_decode_test(decode_cmis_id_decoders_test LIBRARIES qsfp_decode_test_images)
qsfp_decode_test(decode_cmis_monitor_decoders_test)
qsfp_decode_test(decode_show_text_builder_test)
qsfp_decode_test(decode_sff8636_show_text_test LIBRARIES qsfp_decode_test_images)
qsfp_decode_test(decode_cmis_show_text_test LIBRARIES qsfp_decode_test_images)
qsfp_decode_test(decode_show_text_golden_test LIBRARIES qsfp_decode_test_images)
target_compile_definitions(decode_show_text_golden_test PRIVATE
  QSFP_DECODE_GOLDEN_DIR="${CMAKE_CURRENT_SOURCE_DIR}/decode/golden")
qsfp_decode_test(decode_show_text_allocation_test LIBRARIES qsfp_decode_test_images)
target_link_options(decode_show_text_allocation_test PRIVATE -Wl,--wrap=calloc)
