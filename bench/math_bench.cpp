// The vector arrays on the reference driver side by side with the same work as a plain
// loop over an array of structures (x, y, z one vector after the other), on 1K, 64K and
// 4M vectors of three components. Rates are in vectors per second.
#include "bench_support.h"

#include "klmfc/math/arrays.h"
#include "klmfc/math/numerics.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace {

constexpr int kSizes[] = {1024, 65536, 4194304};
constexpr double kMinTime = 0.25;

using Vector = M_Vector3Template<float>;

// Values from 0.5 to about 2, different in every component.
float sample(std::size_t i) {
    return 0.5f + static_cast<float>((i * 7919u) % 1543u) / 1024.0f;
}

// Two source arrays, a destination and a scalar array on the library's side; the same
// vectors as arrays of structures on the plain side.
struct Data {
    explicit Data(int size)
        : a(size), b(size), c(size), s(size), plainA(static_cast<std::size_t>(size)),
          plainB(static_cast<std::size_t>(size)), plainC(static_cast<std::size_t>(size)),
          plainS(static_cast<std::size_t>(size)) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(3 * size); ++i) {
            a.getMemory()[i] = sample(i);
            b.getMemory()[i] = sample(i + 101);
        }
        for (int i = 0; i < size; ++i) {
            plainA[static_cast<std::size_t>(i)] = a.get(i);
            plainB[static_cast<std::size_t>(i)] = b.get(i);
        }
    }
    M_Vector3Array a;
    M_Vector3Array b;
    M_Vector3Array c;
    M_ScalarArray s;
    std::vector<Vector> plainA;
    std::vector<Vector> plainB;
    std::vector<Vector> plainC;
    std::vector<float> plainS;
};

// The plain side's arrays as local pointers, as a hand-written loop holds them.
struct Plain {
    explicit Plain(Data& d)
        : a(d.plainA.data()), b(d.plainB.data()), c(d.plainC.data()), s(d.plainS.data()),
          n(d.plainC.size()) {}
    Vector const* a;
    Vector const* b;
    Vector* c;
    float* s;
    std::size_t n;
};

M_Matrix4x3Template<float> const kMatrix = {
    {0.36f, 0.48f, -0.8f, -0.8f, 0.6f, 0.0f, 0.48f, 0.64f, 0.6f, 1.0f, 2.0f, 3.0f}};

// ---- the work, once per side ----

void libraryAdd(Data& d) {
    d.c.add(d.a, d.b);
}
void plainAdd(Data& d) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        p.c[i] = {p.a[i].x + p.b[i].x, p.a[i].y + p.b[i].y, p.a[i].z + p.b[i].z};
    }
}

void libraryScale(Data& d) {
    d.c.multiply(d.a, 1.5f);
}
void plainScale(Data& d) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        p.c[i] = {1.5f * p.a[i].x, 1.5f * p.a[i].y, 1.5f * p.a[i].z};
    }
}

template <class Factor> void plainNormalize(Data& d, Factor factor) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        Vector const v = p.a[i];
        float const f = factor(v.x * v.x + v.y * v.y + v.z * v.z);
        p.c[i] = {f * v.x, f * v.y, f * v.z};
    }
}

void libraryNormalize(Data& d) {
    d.c.normalize_0(d.a);
}
void plainNormalizeExact(Data& d) {
    plainNormalize(d, [](float s) {
        float const length = std::sqrt(s);
        return length == 0.0f ? 0.0f : 1.0f / length;
    });
}

void libraryNormalizeLo(Data& d) {
    d.c.normalize_lo_0(d.a);
}
void plainNormalizeLo(Data& d) {
    plainNormalize(d, [](float s) { return s == 0.0f ? 0.0f : M_invSqrtEstimate(s); });
}

void libraryNormalizeHi(Data& d) {
    d.c.normalize_hi_0(d.a);
}
void plainNormalizeHi(Data& d) {
    plainNormalize(d, [](float s) { return s == 0.0f ? 0.0f : M_invSqrtRefined(s); });
}

void libraryLength(Data& d) {
    M_Vector3Array::length(d.s, d.a);
}
void plainLength(Data& d) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        Vector const v = p.a[i];
        p.s[i] = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    }
}

void libraryDot(Data& d) {
    M_Vector3Array::dotProduct(d.s, d.a, d.b);
}
void plainDot(Data& d) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        Vector const u = p.a[i];
        Vector const v = p.b[i];
        p.s[i] = u.x * v.x + u.y * v.y + u.z * v.z;
    }
}

void libraryCross(Data& d) {
    d.c.vectorProduct(d.a, d.b);
}
void plainCross(Data& d) {
    Plain p(d);
    for (std::size_t i = 0; i < p.n; ++i) {
        Vector const u = p.a[i];
        Vector const v = p.b[i];
        p.c[i] = {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
    }
}

void libraryTransform(Data& d) {
    d.c.multiply(d.a, kMatrix);
}
void plainTransform(Data& d) {
    Plain p(d);
    M_Matrix4x3Template<float> const m = kMatrix;
    for (std::size_t i = 0; i < p.n; ++i) {
        Vector const v = p.a[i];
        p.c[i] = {v.x * m[0] + v.y * m[3] + v.z * m[6] + m[9],
                  v.x * m[1] + v.y * m[4] + v.z * m[7] + m[10],
                  v.x * m[2] + v.y * m[5] + v.z * m[8] + m[11]};
    }
}

// ---- running and registering ----

void run(benchmark::State& state, void (*work)(Data&), int size) {
    Data data(size);
    for (auto _ : state) {
        work(data);
        benchmark::DoNotOptimize(data.c.getMemory());
        benchmark::DoNotOptimize(data.s.getMemory());
        benchmark::DoNotOptimize(data.plainC.data());
        benchmark::DoNotOptimize(data.plainS.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * size);
}

void add(char const* operation, char const* implementation, int size, void (*work)(Data&)) {
    std::string const name = std::string(operation) + "/" + implementation + "/vec3/" +
                             klmfc::bench::sizeLabel(static_cast<std::size_t>(size));
    benchmark::RegisterBenchmark(name.c_str(), run, work, size)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kMicrosecond);
}

struct Registration {
    Registration() {
        struct Pair {
            char const* operation;
            void (*library)(Data&);
            void (*plain)(Data&);
        };
        Pair const pairs[] = {
            {"add", libraryAdd, plainAdd},
            {"multiply by a float", libraryScale, plainScale},
            {"normalize_0", libraryNormalize, plainNormalizeExact},
            {"normalize_lo_0", libraryNormalizeLo, plainNormalizeLo},
            {"normalize_hi_0", libraryNormalizeHi, plainNormalizeHi},
            {"length", libraryLength, plainLength},
            {"dotProduct", libraryDot, plainDot},
            {"vectorProduct", libraryCross, plainCross},
            {"multiply by a 4x3 matrix", libraryTransform, plainTransform},
        };
        for (Pair const& pair : pairs) {
            for (int size : kSizes) {
                add(pair.operation, "reference", size, pair.library);
                add(pair.operation, "plain loop", size, pair.plain);
            }
        }
    }
} const s_registration;

} // namespace
