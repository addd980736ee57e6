// The driver interface and the reference driver: the order of the operations towards
// modules, the queries, the forwarding of the short forms, the switch of the active
// driver and the raw memory operations. The loop in whole groups of four is pinned by
// array_operations_test.cpp and, strided, by the cross product.
#include "klmfc/core/system.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

using D = K_CPUDriver;
using F = float*;
using C = float const*;
using V4 = M_Vector4Array;

// The vtable slot of a virtual member function in the Itanium C++ ABI (the ABI of the
// library's targets): a pointer to a virtual member holds 1 + the slot's byte offset.
template <class Member> std::ptrdiff_t slotOf(Member member) {
    static_assert(sizeof(Member) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
    std::ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof words);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(CPUDriverInterface, OperationsSitInTheirFixedSlots) {
    using Scale = void (D::*)(V4&, V4 const&, M_ScalarArray const&) const;
    EXPECT_EQ(0, slotOf(&D::getName));
    EXPECT_EQ(6, slotOf(static_cast<void (D::*)(F, float, int) const>(&D::add)));
    EXPECT_EQ(13, slotOf(static_cast<void (D::*)(F, C, C, int, int) const>(&D::add)));
    EXPECT_EQ(22, slotOf(static_cast<Scale>(&D::multiply)));
    EXPECT_EQ(56, slotOf(static_cast<Scale>(&D::divide_lo)));
    EXPECT_EQ(69, slotOf(static_cast<void (D::*)(F, int) const>(&D::reciprocal_0)));
    EXPECT_EQ(91, slotOf(static_cast<void (D::*)(F, float, float, int) const>(&D::clamp)));
    EXPECT_EQ(101, slotOf(static_cast<void (D::*)(M_Matrix4Template<float>&) const>(&D::invert)));
    EXPECT_EQ(114, slotOf(static_cast<void (D::*)(F, V4 const&) const>(&D::length)));
    EXPECT_EQ(127, slotOf(static_cast<void (D::*)(V4&, int, M_Vector4Template<float> const&) const>(
                       &D::set)));
    EXPECT_EQ(133, slotOf(&D::memcpy));
    EXPECT_EQ(135, slotOf(&D::convertToInt));
}

TEST(CPUDriverReference, ReportsItsFixedValues) {
    K_CPUReference reference;
    EXPECT_STREQ("Reference CPU", reference.getName());
    EXPECT_EQ(0, static_cast<int>(reference.getID()));
    EXPECT_EQ(0, reference.getPriority());
    EXPECT_EQ(1, reference.getSIMDSize());
    EXPECT_EQ(4, reference.getStructureGranularity());
    EXPECT_EQ(16, reference.getMemoryAlignment());
    EXPECT_STREQ("Reference CPU", Sys->getCPU()->getName()); // active from start-up
}

// Overrides the longest form of every family that has shorter ones, and the plain
// operations that the reference's tiers call. Each logs how it was reached and computes
// nothing: the op, its pointers as d, s or o (the three `named`) or - for none, its numbers.
class Recorder : public K_CPUReference {
public:
    mutable std::string log;
    std::array<void const*, 3> named = {};

    void add(F d, C a, float v, int n, int s) const override { rec("add", d, a, 0, v, n, s); }
    void add(F d, C a, C b, int n, int s) const override { rec("add", d, a, b, n, s); }
    void subtract(F d, C a, float v, int n, int s) const override { rec("sub", d, a, 0, v, n, s); }
    void subtract(F d, C a, C b, int n, int s) const override { rec("sub", d, a, b, n, s); }
    void multiply(F d, C a, float v, int n, int s) const override { rec("mul", d, a, 0, v, n, s); }
    void multiply(F d, C a, C b, int n, int s) const override { rec("mul", d, a, b, n, s); }
    void divide(F d, C a, float v, int n, int s) const override { rec("div", d, a, 0, v, n, s); }
    void divide(F d, C a, C b, int n, int s) const override { rec("div", d, a, b, n, s); }
    void reciprocal_0(F d, C a, int n) const override { rec("rcp", d, a, 0, n); }
    void sqrt(F d, C a, int n) const override { rec("sqrt", d, a, 0, n); }
    void invsqrt(F d, C a, int n) const override { rec("isqrt", d, a, 0, n); }
    void negate(F d, C a, int n) const override { rec("neg", d, a, 0, n); }
    void abs(F d, C a, int n) const override { rec("abs", d, a, 0, n); }
    void clamp(F d, C a, float lo, float hi, int n) const override {
        rec("clamp", d, a, 0, lo, hi, n);
    }
    void clampMin(F d, C a, float v, int n) const override { rec("cmin", d, a, 0, v, n); }
    void clampMax(F d, C a, float v, int n) const override { rec("cmax", d, a, 0, v, n); }
    void minimum(F d, F a, F b, int n) const override { rec("min", d, a, b, n); }
    void maximum(F d, F a, F b, int n) const override { rec("max", d, a, b, n); }

private:
    template <class... Numbers>
    void rec(char const* op, void const* d, void const* a, void const* b,
             Numbers... numbers) const {
        std::ostringstream out;
        out << op << ' ';
        for (void const* p : {d, a, b}) {
            int const i =
                static_cast<int>(std::find(named.begin(), named.end(), p) - named.begin());
            out << (p == nullptr ? '-' : "dso?"[i]);
        }
        ((out << ' ' << numbers), ...);
        log += out.str() + ';';
    }
};

TEST(CPUDriverReference, ShortFormsReachTheLongestFormThroughTheInterface) {
    Recorder recorder;
    D const& x = recorder;
    float d[4];
    float s[4];
    float o[4];
    recorder.named = {d, s, o};
    auto logOf = [&](auto calls) {
        recorder.log.clear();
        calls();
        return recorder.log;
    };
    // The eight forms of the arithmetic families; divide_lo arrives at divide.
    auto eightForms = [&](auto form) {
        return logOf([&] {
            form(d, 2.0f, 9);
            form(d, 2.0f, 9, 3);
            form(d, s, 2.0f, 9);
            form(d, s, 2.0f, 9, 3);
            form(d, s, 9);
            form(d, s, 9, 3);
            form(d, s, o, 9);
            form(d, s, o, 9, 2);
        });
    };
    auto eight = [](std::string const& op) {
        return op + " dd- 2 9 1;" + op + " dd- 2 9 3;" + op + " ds- 2 9 1;" + op + " ds- 2 9 3;" +
               op + " dds 9 1;" + op + " dds 9 3;" + op + " dso 9 1;" + op + " dso 9 2;";
    };
    EXPECT_EQ(eight("add"), eightForms([&](auto... a) { x.add(a...); }));
    EXPECT_EQ(eight("sub"), eightForms([&](auto... a) { x.subtract(a...); }));
    EXPECT_EQ(eight("mul"), eightForms([&](auto... a) { x.multiply(a...); }));
    EXPECT_EQ(eight("div"), eightForms([&](auto... a) { x.divide(a...); }));
    EXPECT_EQ(eight("div"), eightForms([&](auto... a) { x.divide_lo(a...); }));

    // The unary forms: in place takes dst as its source; the tiers that compute as the
    // plain operation call it.
    auto twoForms = [&](auto form) {
        return logOf([&] {
            form(d, 9);
            form(d, s, 9);
        });
    };
    auto two = [](std::string const& op) { return op + " dd- 9;" + op + " ds- 9;"; };
    EXPECT_EQ(two("rcp"), twoForms([&](auto... a) { x.reciprocal_0(a...); }));
    EXPECT_EQ(two("rcp"), twoForms([&](auto... a) { x.reciprocal_lo_0(a...); }));
    EXPECT_EQ(two("rcp"), twoForms([&](auto... a) { x.reciprocal_hi_0(a...); }));
    EXPECT_EQ(two("sqrt"), twoForms([&](auto... a) { x.sqrt(a...); }));
    EXPECT_EQ(two("sqrt"), twoForms([&](auto... a) { x.sqrt_lo(a...); }));
    EXPECT_EQ(two("sqrt"), twoForms([&](auto... a) { x.sqrt_hi(a...); }));
    EXPECT_EQ(two("isqrt"), twoForms([&](auto... a) { x.invsqrt(a...); }));
    EXPECT_EQ(two("isqrt"), twoForms([&](auto... a) { x.invsqrt_lo(a...); }));
    EXPECT_EQ(two("isqrt"), twoForms([&](auto... a) { x.invsqrt_hi(a...); }));
    EXPECT_EQ(two("neg"), twoForms([&](auto... a) { x.negate(a...); }));
    EXPECT_EQ(two("abs"), twoForms([&](auto... a) { x.abs(a...); }));
    EXPECT_EQ("clamp dd- 1 2 9;cmin dd- 1.5 9;cmax dd- 1.5 9;min dds 9;max dds 9;", logOf([&] {
                  x.clamp(d, 1.0f, 2.0f, 9);
                  x.clampMin(d, 1.5f, 9);
                  x.clampMax(d, 1.5f, 9);
                  x.minimum(d, s, 9);
                  x.maximum(d, s, 9);
              }));
}

TEST(CPUDriverDispatch, ArraysCallTheActiveDriverFromTheirNextOperationWithTheirOwnCount) {
    K_CPUDriver* const reference = Sys->getCPU();
    M_ScalarArray dst(8);
    M_ScalarArray a(16);
    M_ScalarArray b(4);
    dst.resize(6);
    Recorder recorder;
    recorder.named = {dst.getMemory(), a.getMemory(), b.getMemory()};
    Sys->setActiveCPUDriver(&recorder);
    dst.add(a, b);
    dst.subtract(a, 2.5f);
    dst *= b;
    dst /= 1.5f;
    Sys->setActiveCPUDriver(reference);
    dst += b; // on the reference again
    EXPECT_EQ("add dso 6 1;sub ds- 2.5 6 1;mul ddo 6 1;div dd- 1.5 6 1;", recorder.log);
}

TEST(CPUDriverReference, CopyAndFillTouchExactlyTheirBytes) {
    K_CPUReference reference;
    std::vector<unsigned char> const source = {1, 2, 3, 4, 5, 6, 7, 8};
    for (int bytes : {-3, 0, 1, 5, 7}) {
        std::vector<unsigned char> copied(8, 0xEE);
        std::vector<unsigned char> filled(8, 0xEE);
        reference.memcpy(copied.data(), source.data(), bytes);
        reference.memset(filled.data(), 0x5A, bytes);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(i < bytes ? source[i] : 0xEE, copied[i]) << bytes << " bytes, byte " << i;
            EXPECT_EQ(i < bytes ? 0x5A : 0xEE, filled[i]) << bytes << " bytes, byte " << i;
        }
    }
}

} // namespace
