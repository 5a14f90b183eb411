# The coherent driver on a recording SDK: the fake's coh_sdk_* are objects of
# the executable, linked ahead of the library archives, so they are the SDK
# the driver calls (an archive member is only taken for a symbol still missing).
# calloc is wrapped so that a test can make the library's next allocation fail.
qsfp_test(coherent/coherent_fake_sdk_test SOURCES coherent/fake_coh_sdk.cpp support/failing_calloc.cpp)
target_link_options(coherent_fake_sdk_test PRIVATE -Wl,--wrap=calloc)

# The coherent driver on the coherent SDK emulator (qsfp_sim links it).
qsfp_test(coherent/coherent_emulated_sdk_test)
