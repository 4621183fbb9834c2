// Builds one corpus kernel with the platform's program builder, with debug IL, for the device
// family that its metadata names: corpus_build kernel.il kernel.elf

#include "support/CorpusKernels.h"
#include "support/CorpusProgram.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: %s kernel.il kernel.elf\n", argv[0]);
        return 2;
    }
    std::ifstream input(argv[1], std::ios::binary);
    const std::string strIL((std::istreambuf_iterator<char>(input)),
                            std::istreambuf_iterator<char>());
    if (strIL.empty())
    {
        std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[1]);
        return 1;
    }
    // The platform reads its device family once, before the first platform query.
    setenv("NORDVANE_OCL_DEVICE", XAN_Test::KernelDevice(strIL).c_str(), 1);

    std::string strLog;
    XAN_Test::CNordvaneDevice device;
    cl_program program = device.IsValid() ? device.Build(strIL, "-g -ignore-env", strLog) : nullptr;
    if (program == nullptr)
    {
        std::fprintf(stderr, "%s: %s: %s\n", argv[0], argv[1],
                     device.IsValid() ? strLog.c_str() : "no Nordvane GPU");
        return 1;
    }
    const std::vector<char> vBinary = device.GetBinary(program);
    clReleaseProgram(program);
    std::ofstream output(argv[2], std::ios::binary);
    output.write(vBinary.data(), static_cast<std::streamsize>(vBinary.size()));
    return vBinary.empty() || !output ? 1 : 0;
}
