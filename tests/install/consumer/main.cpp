// A program built against an installed klmfc: brings it up, adds two arrays, goes down.
#include <klmfc/klmfc.h>

#include <cstdio>

int main() {
    int status = 1;
    {
        K_KovmarInit init;
        M_ScalarArray a(4), b(4), sum(4);
        for (int i = 0; i < 4; ++i) {
            a.set(i, float(i));
            b.set(i, 0.5f);
        }
        sum.add(a, b);
        std::printf("%s %g %g\n", Sys->getCPU()->getName(), sum.get(0), sum.get(3));
        status = sum.get(3) == 3.5f ? 0 : 1;
        Sys->ceaseVerbose(1);
    }
    return Sys == nullptr ? status : 1;
}
