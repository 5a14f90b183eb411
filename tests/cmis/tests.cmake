qsfp_test(cmis/cmis_identify_test)
qsfp_test(cmis/cmis_bring_up_test)
qsfp_test(cmis/cmis_real_images_test)
