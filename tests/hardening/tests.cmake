qsfp_test(hardening/hardening_fault_matrix_test LABELS hardening)
qsfp_test(hardening/hardening_soak_test LABELS "concurrency;hardening")
