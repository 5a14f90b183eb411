// Out-of-memory paths. calloc is wrapped at link time (-Wl,--wrap=calloc) so
// that a test can make the library's next allocation fail.
#include <cstdlib>

#include <gtest/gtest.h>

#include "framework/bare_port.h"
#include "support/failing_calloc.h"
#include "support/stderr_capture.h"
#include "support/trace_reader.h"


namespace {

using namespace qsfp::test;

class AllocationFailureTest : public LibraryTest {};

TEST_F(AllocationFailureTest, PortContextAllocationFailureAnswers12) {
    insert(0, paged_memory());
    create(1, QSFP_ERR_NOT_READY);  // the library is set up before the failure is armed
    clear_traces();
    qsfp_port_create_params p = params(0);
    p.init_arg = 3;
    qsfp_port_create_result result{};
    StderrCapture err;
    qsfp::test::fail_next_calloc();
    EXPECT_EQ(qsfp_port_create(&p, &result), QSFP_ERR_NO_MEMORY);
    EXPECT_EQ(result.rc, QSFP_ERR_NO_MEMORY);
    EXPECT_EQ(result.init_arg, 3u);
    EXPECT_EQ(result.handle, nullptr);
    EXPECT_EQ(err.take(), "Unable to create a new QSFP port ctx. rc 0xc\n");
    char expected[160];
    std::snprintf(expected, sizeof expected, "QSFP : unable to allocate memory for QSFP Port context.  opaque 0x%p\n",
                  reinterpret_cast<void *>(static_cast<std::uintptr_t>(p.opaque)));
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{expected});
    // Nothing was listed: the next creation makes the context.
    EXPECT_NE(create(0, QSFP_ERR_NOT_READY), nullptr);
}

TEST_F(AllocationFailureTest, RegisterDumpAllocationFailureAnswers12) {
    insert(0, paged_memory());
    qsfp_port_ctx *port = create(0, QSFP_ERR_NOT_READY);
    char *text = nullptr;
    std::uint32_t size = 0;
    qsfp::test::fail_next_calloc();
    EXPECT_EQ(qsfp_reg_access(port, &text, &size, 1), QSFP_ERR_NO_MEMORY);
    EXPECT_EQ(text, nullptr);
}

}  // namespace
