// The show text of SFF-8636 ports, through the register-decode operation on
// emulated modules: goldens for every catalogue module and real image, the
// lock handling, and the read failures.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include <qsfp/sim/catalogue.h>

#include "support/show_text.h"
#include "sff8636/real_images.h"
#include "sff8636/sff_port.h"
#include "support/golden.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

class ShowTextTest : public SffPortTest {
protected:
    std::string show(qsfp_port_ctx *port, std::uint32_t expected_rc = QSFP_OK) { return show_text(port, expected_rc); }
    qsfp_port_ctx *port_for(std::unique_ptr<qsfp::sim::Module> module) {
        insert(0, std::move(module));
        qsfp_port_ctx *port = create(0, QSFP_OK);
        forget_traffic();
        return port;
    }
};

std::string golden_name(std::string name) {
    for (char &c : name) {
        if (c == '/') c = '_';
    }
    return "sff8636/golden/show/" + name + ".txt";
}

TEST_F(ShowTextTest, EveryCatalogueModule) {
    for (const auto &e : qsfp::sim::catalogue()) {
        if (e.image[0] != 0x0D && e.image[0] != 0x11) continue;
        qsfp_port_ctx *port = port_for(qsfp::sim::make_module(e));
        const std::string text = show(port);
        EXPECT_EQ(text.rfind("\nQSFP8636 EEPROM port: 1", 0), 0u) << e.name;
        expect_golden(golden_name(e.name), text);
        qsfp_port_delete(port);
        forget(port);
    }
}

TEST_F(ShowTextTest, EveryRealSff8636Image) {
    for (const auto &file : sff8636_image_files()) {
        auto memory = real_module_memory(file);
        ASSERT_TRUE(memory.has_value()) << file;
        qsfp_port_ctx *port = port_for(std::make_unique<qsfp::sim::Module>(std::move(*memory)));
        expect_golden(golden_name(file.stem().string()), show(port));
        qsfp_port_delete(port);
        forget(port);
    }
}

TEST_F(ShowTextTest, ThePortLockIsReleasedOnceWhateverTheInventorySlotDid) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t mu;
    pthread_mutex_init(&mu, &attr);
    insert(0, qsfp::sim::make_module("100G-SR4"));
    qsfp_port_create_params p = params(0);
    p.port_lock = &mu;
    qsfp_port_ctx *port = create(p, QSFP_OK);
    const std::string text = show(port);
    EXPECT_NE(text.find("\n\tVendor Serial Number: "), std::string::npos);
    EXPECT_EQ(pthread_mutex_trylock(&mu), 0);
    EXPECT_EQ(pthread_mutex_unlock(&mu), 0);
    qsfp_port_delete(port);  // before the mutex it names goes away
    forget(port);
    pthread_mutex_destroy(&mu);
    pthread_mutexattr_destroy(&attr);
}

TEST_F(ShowTextTest, ReadsPagesZeroToThreeOrTheFlatImageOnly) {
    qsfp_port_ctx *paged = port_for(qsfp::sim::make_module("100G-LR4"));
    show(paged);
    std::vector<int> pages;
    for (const auto &t : cage().log()) {
        if (t.op == Op::read && t.reg == 128 && t.len == 128) pages.push_back(t.page);
    }
    // The decode reads 00h-03h; the status and inventory slots read nothing more.
    EXPECT_EQ(pages, (std::vector<int>{0, 1, 2, 3}));
    qsfp_port_delete(paged);
    forget(paged);
    qsfp_port_ctx *flat = port_for(qsfp::sim::make_module("100G-CR4-FLAT"));
    const std::string text = show(flat);
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
    EXPECT_NE(text.find("\n\tDevice Tech: "), std::string::npos);
}

TEST_F(ShowTextTest, ReadFailuresAreTracedAndReturned) {
    qsfp_port_ctx *port = port_for(qsfp::sim::make_module("100G-SR4"));
    cage().fail_range(Op::read, 2, 128, 255, 5);
    show(port, 5);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Upper Page 2 Read error"));
    qsfp_port_delete(port);
    forget(port);
    qsfp_port_ctx *flat = port_for(qsfp::sim::make_module("100G-CR4-FLAT"));
    cage().fail_range(Op::read, -1, 0, 0, 6);
    show(flat, 6);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: errno: qsfp flat mem lower page read failed. rc: 0x6"));
    cage().clear_faults();
    cage().fail_range(Op::read, -1, 128, 255, 7);
    show(flat, 7);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: errno: qsfp flat mem upper page read failed. rc: 0x7"));
}

}  // namespace
