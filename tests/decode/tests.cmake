# Suites of the decoders. They also reach the decoders' internal headers.
find_package(nlohmann_json REQUIRED)

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
