// Emulated module memory: pages, the page-select byte, writable areas.
#include <gtest/gtest.h>

#include <qsfp/sim/basic_image.h>
#include <qsfp/sim/module.h>

namespace {

using qsfp::sim::Module;
using qsfp::sim::ModuleMemory;

ModuleMemory paged() {
    ModuleMemory m;
    for (std::uint8_t p : {1, 2, 3, 0x20}) {
        m.add_page(p);
        m.set(p, 128, static_cast<std::uint8_t>(0xA0 + p));
    }
    m.set(0, 128, 0x11);
    m.set_writable(0, 86, 126);
    m.set_writable(3, 234, 255);
    return m;
}

TEST(ModuleMemoryTest, LowerMemoryIsTheSameOnEveryPage) {
    ModuleMemory m = paged();
    m.set(3, 5, 0x77);
    EXPECT_EQ(m.get(0, 5), 0x77);
    EXPECT_EQ(m.get(0x20, 5), 0x77);
}

TEST(ModuleMemoryTest, UpperPagesAreSeparate) {
    const ModuleMemory m = paged();
    EXPECT_EQ(m.get(0, 128), 0x11);
    EXPECT_EQ(m.get(1, 128), 0xA1);
    EXPECT_EQ(m.get(0x20, 128), 0xC0);
    EXPECT_EQ(m.pages(), (std::vector<std::uint8_t>{0, 1, 2, 3, 0x20}));
    EXPECT_FALSE(m.has_page(4));
    EXPECT_EQ(m.get(4, 128), 0);  // no such page
}

TEST(ModuleMemoryTest, FromImageFollowsThePageList) {
    std::vector<std::uint8_t> image(128 * 4);
    image[0] = 0x11;
    image[128] = 0x11;
    image[256] = 0x01;  // first listed page
    image[384] = 0x03;  // second listed page
    const std::uint8_t pages[] = {0x00, 0x01, 0x03};
    const ModuleMemory m = ModuleMemory::from_image(image, pages);
    EXPECT_EQ(m.get(1, 128), 0x01);
    EXPECT_EQ(m.get(3, 128), 0x03);
    EXPECT_FALSE(m.has_page(2));
}

TEST(ModuleTest, PageSelectAcceptsOnlyPagesTheModuleHas) {
    Module mod(paged());
    mod.write_byte(0, 127, 3);
    EXPECT_EQ(mod.selected_page(), 3);
    mod.write_byte(0, 127, 0x11);  // not a page of this module
    EXPECT_EQ(mod.selected_page(), 3);
    EXPECT_EQ(mod.read_byte(mod.selected_page(), 128), 0xA3);
}

TEST(ModuleTest, FlatMemoryHasNoPageRegister) {
    Module mod(qsfp::sim::basic_image(0x0D, true));
    mod.write_byte(0, 127, 3);
    EXPECT_EQ(mod.selected_page(), 0);
    EXPECT_EQ(mod.memory().get(0, 127), 0);
    // Any upper access reaches page 00h.
    EXPECT_EQ(mod.read_byte(3, 128), 0x0D);
}

TEST(ModuleTest, ReadOnlyBytesIgnoreWrites) {
    Module mod(paged());
    mod.write_byte(0, 20, 0x55);   // lower monitor area: read-only
    mod.write_byte(0, 86, 0x0F);   // Tx disable: writable
    mod.write_byte(3, 240, 0x0F);  // page 03h control: writable
    mod.write_byte(1, 200, 0x0F);  // page 01h: read-only
    EXPECT_EQ(mod.memory().get(0, 20), 0);
    EXPECT_EQ(mod.memory().get(0, 86), 0x0F);
    EXPECT_EQ(mod.memory().get(3, 240), 0x0F);
    EXPECT_EQ(mod.memory().get(1, 200), 0);
}

TEST(ModuleTest, StuckByteReadsItsValueUntilReleased) {
    Module mod(paged());
    mod.stick(0, 3, 0xFF);
    EXPECT_EQ(mod.read_byte(0, 3), 0xFF);
    EXPECT_EQ(mod.read_byte(2, 3), 0xFF);
    mod.unstick(0, 3);
    EXPECT_EQ(mod.read_byte(0, 3), 0);
}

TEST(ModuleTest, RandomizeFillsEveryPageReproducibly) {
    ModuleMemory a = paged();
    ModuleMemory b = paged();
    qsfp::sim::randomize(a, 7);
    qsfp::sim::randomize(b, 7);
    EXPECT_EQ(a.get_bytes(0x20, 128, 128), b.get_bytes(0x20, 128, 128));
    EXPECT_NE(a.get_bytes(0, 0, 128), std::vector<std::uint8_t>(128, 0));
}

}  // namespace
