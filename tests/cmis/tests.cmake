# TEMPORARY: the oper-mode to application-select step of CMIS bring-up is
# written apart and not yet in the library. Until it is, every program that
# links the library takes this stand-in (delete both lines and the file then).
add_library(qsfp_cmis_oper_mode_stand_in STATIC ${CMAKE_CURRENT_SOURCE_DIR}/cmis/oper_mode_stand_in.cpp)
target_include_directories(qsfp_cmis_oper_mode_stand_in PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(qsfp_cmis_oper_mode_stand_in PUBLIC qsfp_core PRIVATE qsfp_warnings)
target_link_libraries(qsfp_core INTERFACE $<BUILD_INTERFACE:qsfp_cmis_oper_mode_stand_in>)
qsfp_test(cmis/cmis_mode_config_test)
qsfp_test(cmis/cmis_apply_application_test)
qsfp_test(cmis/cmis_port_state_test)
qsfp_test(cmis/cmis_app_lookup_test)
qsfp_test(cmis/cmis_datapath_faults_test)
