qsfp_test(sim/sim_module_test)
qsfp_test(sim/sim_cage_test)
qsfp_test(sim/sim_virtual_clock_test)
qsfp_test(sim/sim_sff8636_module_test)
