// Library set-up on the first creation, each case in a fresh child process
// (the library context lives for the life of the process), against a
// scripted platform.
#include <cstring>
#include <regex>

#include <gtest/gtest.h>

#include <qsfp/qsfp.h>

#include "support/child_process.h"
#include "support/scripted_platform.h"

namespace {

using namespace qsfp::test;
namespace scripted = qsfp::test::scripted;

// A bus with one module of unknown kind: byte 0 reads 0x0C, the rest zero.
uint32_t unknown_module_read(uint64_t, uint8_t reg, uint8_t, uint32_t len, void *buf) {
    std::memset(buf, 0, len);
    if (reg == 0 && len > 0) {
        static_cast<uint8_t *>(buf)[0] = 0x0C;
    }
    return 0;
}
uint32_t ignore_write(uint64_t, uint8_t, uint8_t, uint32_t, const void *) { return 0; }

qsfp_port_create_params params(std::uint64_t opaque, void *evm) {
    qsfp_port_create_params p{};
    p.opaque = opaque;
    p.port = static_cast<std::uint32_t>(opaque);
    p.evm = evm;
    p.read = unknown_module_read;
    p.write = ignore_write;
    return p;
}

// Child exit codes say which check failed, so the parent can report it.
#define CHILD_CHECK(cond)                                             \
    do {                                                              \
        if (!(cond)) {                                                \
            std::fprintf(stderr, "\ncheck failed: %s\n", #cond);      \
            return __LINE__ % 200 + 1;                                \
        }                                                             \
    } while (0)

TEST(LibrarySetupTest, FirstCreationOpensFourBuffersAndEnablesThemForTheShowCommand) {
    const ChildResult r = run_in_child([] {
        qsfp_port_create_params p = params(1, scripted::evm());
        qsfp_port_create_result result{};
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_NOT_READY);
        CHILD_CHECK(qsfp_get_ctx()->initialized == 1);
        CHILD_CHECK(qsfp_get_ctx()->evm == scripted::evm());
        const auto &opens = scripted::open_calls();
        CHILD_CHECK(opens.size() == 4);
        const char *names[] = {"qsfp_err", "qsfp_evt", "qsfp_periodic", "qsfp_port_periodic"};
        for (std::size_t i = 0; i < 4; ++i) {
            CHILD_CHECK(opens[i].name == names[i]);
            CHILD_CHECK(opens[i].size == 131072);
            CHILD_CHECK(opens[i].options == 567);
            CHILD_CHECK(opens[i].dir == "qsfp_ztrace_dir");
            CHILD_CHECK(std::regex_match(opens[i].catalog_id, std::regex("[0-9a-f]{32}")));
            CHILD_CHECK(opens[i].flags == 0);
        }
        const std::vector<std::string> order{"qsfp_evt", "qsfp_err", "qsfp_periodic", "qsfp_port_periodic"};
        CHILD_CHECK(scripted::enable_calls() == order);
        const auto evt = scripted::entries("qsfp_evt");
        CHILD_CHECK(!evt.empty() && evt[0] == "QSFP DLL init done. rc 0x0\n");
        // A second creation does not set up again.
        qsfp_port_create_params q = params(2, nullptr);
        CHILD_CHECK(qsfp_port_create(&q, &result) == QSFP_ERR_NOT_READY);
        CHILD_CHECK(scripted::open_calls().size() == 4);
        const auto evt2 = scripted::entries("qsfp_evt");
        CHILD_CHECK(std::find(evt2.begin(), evt2.end(), "QSFP DLL already initialized\n") != evt2.end());
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "");
}

struct OpenFailure {
    int at;
    const char *message;
};

void PrintTo(const OpenFailure &f, std::ostream *os) { *os << "open " << f.at; }

class TraceOpenFailureTest : public ::testing::TestWithParam<OpenFailure> {};

TEST_P(TraceOpenFailureTest, CreationFailsWith14AndTheSetUpIsRetriedLater) {
    const OpenFailure f = GetParam();
    const ChildResult r = run_in_child([f] {
        scripted::script().fail_open_at = f.at;
        qsfp_port_create_params p = params(1, scripted::evm());
        qsfp_port_create_result result{};
        result.handle = reinterpret_cast<qsfp_port_ctx *>(0x1);
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_NO_CONTEXT);
        CHILD_CHECK(result.rc == QSFP_ERR_NO_CONTEXT);
        CHILD_CHECK(result.handle == nullptr);
        CHILD_CHECK(qsfp_get_ctx()->initialized == 0);
        CHILD_CHECK(qsfp_get_ctx()->ports == nullptr);
        scripted::script().fail_open_at = -1;
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_NOT_READY);
        CHILD_CHECK(qsfp_get_ctx()->initialized == 1);
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, std::string(f.message) + "qsfp port create failed \n");
}

INSTANTIATE_TEST_SUITE_P(EachBuffer, TraceOpenFailureTest,
                         ::testing::Values(OpenFailure{0, "qsfp: ztrace creation failed for error.\n"},
                                           OpenFailure{1, "qsfp: ztrace creation failed for event.\n"},
                                           OpenFailure{2, "qsfp: ztrace creation failed for periodic.\n"},
                                           OpenFailure{3, "qsfp: ztrace creation failed for port periodic.\n"}));

TEST(LibrarySetupTest, FailedEnableFailsTheCreationWithTheOredCode) {
    const ChildResult r = run_in_child([] {
        scripted::script().enable_rc = 0x2;
        qsfp_port_create_params p = params(1, scripted::evm());
        qsfp_port_create_result result{};
        CHILD_CHECK(qsfp_port_create(&p, &result) == 0x2);
        CHILD_CHECK(result.rc == 0x2);
        CHILD_CHECK(qsfp_get_ctx()->initialized == 0);
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "qsfp: ztrace enable failed for evt, rc 0x2\nqsfp port create failed \n");
}

TEST(LibrarySetupTest, NullEvmSkipsTheShowCommandAndFailsTheAttachmentOnce) {
    const ChildResult r = run_in_child([] {
        qsfp_port_create_params p = params(1, nullptr);
        qsfp_port_create_result result{};
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_INVALID);
        CHILD_CHECK(result.rc == QSFP_ERR_INVALID);
        CHILD_CHECK(scripted::enable_calls().empty());
        // Initialised anyway, and not retried: the next creation goes ahead.
        CHILD_CHECK(qsfp_get_ctx()->initialized == 1);
        const auto err = scripted::entries("qsfp_err");
        CHILD_CHECK(err == std::vector<std::string>{"levm attach tree timer failed"});
        const auto evt = scripted::entries("qsfp_evt");
        CHILD_CHECK(!evt.empty() && evt[0] == "QSFP DLL init done. rc 0x16\n");
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_NOT_READY);
        CHILD_CHECK(result.handle != nullptr);
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(r.err, "qsfp: NULL evm. Not enable to ztrace show command\nqsfp port create failed \n");
}

TEST(LibrarySetupTest, NegativeAttachAnswerFailsTheCreation) {
    const ChildResult r = run_in_child([] {
        scripted::script().attach_rc = -3;
        qsfp_port_create_params p = params(1, scripted::evm());
        qsfp_port_create_result result{};
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_INVALID);
        CHILD_CHECK(scripted::entries("qsfp_err") == std::vector<std::string>{"levm attach tree timer failed"});
        CHILD_CHECK(qsfp_get_ctx()->initialized == 1);
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
}

TEST(LibrarySetupTest, MissingTimerTreeFailsSetUpAndLaterCreationsCannotMakeCoolTimers) {
    const ChildResult r = run_in_child([] {
        scripted::script().fail_tree = true;
        qsfp_port_create_params p = params(1, scripted::evm());
        qsfp_port_create_result result{};
        CHILD_CHECK(qsfp_port_create(&p, &result) == QSFP_ERR_INVALID);
        CHILD_CHECK(qsfp_get_ctx()->initialized == 1);
        const std::vector<std::string> expected{"QSFP root timer init failed\n", "levm attach tree timer failed"};
        CHILD_CHECK(scripted::entries("qsfp_err") == expected);
        // The next creation gets past set-up but has no tree to hang its timer on.
        qsfp_port_create_params q = params(7, scripted::evm());
        q.controller = 2;
        CHILD_CHECK(qsfp_port_create(&q, &result) == QSFP_ERR_INVALID);
        CHILD_CHECK(result.rc == QSFP_ERR_INVALID);
        CHILD_CHECK(result.handle == nullptr);
        const auto err = scripted::entries("qsfp_err");
        CHILD_CHECK(err.back() == "Controller 2 Port 7: Unable to allocate leaf timer\n");
        // The context stays listed but uninitialised, and is refused by the handle check.
        CHILD_CHECK(qsfp_get_ctx()->ports != nullptr && qsfp_get_ctx()->ports->initialized == 0);
        CHILD_CHECK(qsfp_check_and_lock_hdl(qsfp_get_ctx()->ports, 5) == QSFP_ERR_NOT_READY);
        return 0;
    });
    EXPECT_EQ(r.exit_code, 0) << r.err;
}

}  // namespace
