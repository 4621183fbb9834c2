// A kernel binary whose ".debugil" text is missing, though the section is there, is refused
// rather than read out of bounds.
#include "ICDTestSupport.h"

#include "CElf.h"

#include <cstddef>
#include <cstring>

using namespace XAN_Test;
using XAN_ElfUtils::CElf;

using KernelBinaryTextTest = CLFixture;

TEST_F(KernelBinaryTextTest, ADebugILSectionEmptyOrPastTheEndIsRefused)
{
    cl_program program = Build(ReadKernel("vadd.il"), "-g");
    ASSERT_NE(nullptr, program);
    const std::vector<char> vBinary = ProgramBinary(program);

    CElf elf(vBinary);
    ASSERT_NE(nullptr, elf.GetSection(".debugil"));
    elf.GetSection(".debugil")->ClearData();
    std::vector<char> vEmpty;
    ASSERT_TRUE(elf.Store(vEmpty)) << elf.GetLastError();
    ExpectBinaryRefused(vEmpty);

    // The section's size in its header runs past the end of the file.
    CElf original(vBinary);
    size_t nIndex = 0;
    while (original.GetSection(nIndex) != original.GetSection(".debugil"))
    {
        ++nIndex;
    }
    Elf64_Ehdr header;
    std::memcpy(&header, vBinary.data(), sizeof(header));
    std::vector<char> vPastTheEnd = vBinary;
    const uint64_t nSize = vBinary.size();
    std::memcpy(vPastTheEnd.data() + header.e_shoff + nIndex * sizeof(Elf64_Shdr) +
                    offsetof(Elf64_Shdr, sh_size),
                &nSize, sizeof(nSize));
    ExpectBinaryRefused(vPastTheEnd);
}
