#include "ShaderDebuggerShader.h"

#include "Src/ShaderDebuggerTestDoubles.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace XAN_ShaderDebugger;

namespace
{
Register MakeRegister(RegisterType type, int number, unsigned int index, unsigned short mask,
                      const Register* pIndexRegister = NULL)
{
    return Register(RegisterID(type, number, index, pIndexRegister), mask);
}
} // namespace

TEST(RegisterTest, ComponentMasksAndIndexedTypes)
{
    const unsigned short components[] = {COMP_x, COMP_y, COMP_z, COMP_w, 0, 0};
    const unsigned int indexes[] = {0, 1, 2, 3, 4, 0xFFFFFFFF};
    for (size_t i = 0; i < 6; ++i)
    {
        EXPECT_EQ(components[i], GetComponent(indexes[i])) << indexes[i];
    }

    for (unsigned int nType = 0; nType <= RT_vLineStipple; ++nType)
    {
        const RegisterType type = static_cast<RegisterType>(nType);
        EXPECT_EQ(type == RT_CONST_BUFF || type == RT_IndexableTemp || type == RT_PrivateUAVAccess,
                  IsIndexedRegisterType(type))
            << nType;
    }
}

TEST(RegisterTest, CopiesOwnTheirIndexRegister)
{
    const Register index = MakeRegister(RT_Temp, 2, 0, COMP_y);
    std::unique_ptr<Register> pOriginal(
        new Register(MakeRegister(RT_IndexableTemp, 1, 4, COMP_All, &index)));
    ASSERT_NE(nullptr, pOriginal->reg.pIndexRegister);

    Register copy(*pOriginal);
    Register assigned;
    assigned = *pOriginal;
    EXPECT_NE(pOriginal->reg.pIndexRegister, copy.reg.pIndexRegister);
    EXPECT_NE(pOriginal->reg.pIndexRegister, assigned.reg.pIndexRegister);
    pOriginal.reset();

    ASSERT_NE(nullptr, copy.reg.pIndexRegister);
    EXPECT_EQ(index, *copy.reg.pIndexRegister);
    EXPECT_EQ(copy, assigned);

    // Assigning to itself keeps the index register; assigning a plain one drops it.
    RegisterID& id = copy.reg;
    id = *&id;
    ASSERT_NE(nullptr, copy.reg.pIndexRegister);
    EXPECT_EQ(index, *copy.reg.pIndexRegister);
    copy.reg = RegisterID(RT_Temp, 3, 0, NULL);
    EXPECT_EQ(nullptr, copy.reg.pIndexRegister);

    EXPECT_EQ(Register(), g_Reg_NULL);
}

TEST(RegisterTest, EqualityComparesIndexRegistersByValue)
{
    const Register r2 = MakeRegister(RT_Temp, 2, 0, COMP_x);
    const Register r3 = MakeRegister(RT_Temp, 3, 0, COMP_x);
    EXPECT_EQ(RegisterID(RT_IndexableTemp, 1, 0, &r2), RegisterID(RT_IndexableTemp, 1, 0, &r2));
    EXPECT_NE(RegisterID(RT_IndexableTemp, 1, 0, &r2), RegisterID(RT_IndexableTemp, 1, 0, &r3));
    EXPECT_NE(RegisterID(RT_IndexableTemp, 1, 0, &r2), RegisterID(RT_IndexableTemp, 1, 0, NULL));
    EXPECT_NE(RegisterID(RT_IndexableTemp, 1, 0, NULL), RegisterID(RT_IndexableTemp, 1, 0, &r2));
    EXPECT_NE(MakeRegister(RT_Temp, 1, 0, COMP_x), MakeRegister(RT_Temp, 1, 0, COMP_y));
}

TEST(RegisterTest, OrderIsStrictWeakAndAgreesWithEquality)
{
    const Register r0 = MakeRegister(RT_Temp, 0, 0, COMP_x);
    const Register r1 = MakeRegister(RT_Temp, 1, 0, COMP_x);
    std::vector<Register> vRegisters;
    for (RegisterType type : {RT_Temp, RT_IndexableTemp})
    {
        for (int number : {-1, 0, 1})
        {
            for (unsigned int index : {0u, 1u, 0x80000000u})
            {
                for (const Register* pIndex : {static_cast<const Register*>(NULL), &r0, &r1})
                {
                    for (unsigned short mask : {COMP_x, COMP_All})
                    {
                        vRegisters.push_back(MakeRegister(type, number, index, mask, pIndex));
                    }
                }
            }
        }
    }

    for (const Register& a : vRegisters)
    {
        EXPECT_FALSE(a < a);
        for (const Register& b : vRegisters)
        {
            const bool bEquivalent = !(a < b) && !(b < a);
            EXPECT_EQ(a == b, bEquivalent);
            if (a < b)
            {
                EXPECT_FALSE(b < a);
                for (const Register& c : vRegisters)
                {
                    if (b < c)
                    {
                        ASSERT_TRUE(a < c);
                    }
                }
            }
        }
    }

    // Fields compare as declared: the number signed, the index unsigned.
    EXPECT_TRUE(MakeRegister(RT_Temp, -1, 0, 0).reg < MakeRegister(RT_Temp, 0, 0, 0).reg);
    EXPECT_TRUE(MakeRegister(RT_Temp, 0, 1, 0).reg < MakeRegister(RT_Temp, 0, 0x80000000u, 0).reg);
    EXPECT_TRUE(MakeRegister(RT_Temp, 5, 0, 0).reg < MakeRegister(RT_Input, 0, 0, 0).reg);
    // The mask decides only between equal identities.
    EXPECT_TRUE(MakeRegister(RT_Temp, 1, 0, COMP_y) < MakeRegister(RT_Temp, 1, 0, COMP_z));
    EXPECT_TRUE(MakeRegister(RT_Temp, 1, 0, COMP_All) < MakeRegister(RT_Temp, 2, 0, COMP_x));
    // A null index register is the lesser.
    EXPECT_TRUE(MakeRegister(RT_IndexableTemp, 1, 0, 0).reg <
                MakeRegister(RT_IndexableTemp, 1, 0, 0, &r0).reg);
    EXPECT_TRUE(MakeRegister(RT_IndexableTemp, 1, 0, 0, &r0).reg <
                MakeRegister(RT_IndexableTemp, 1, 0, 0, &r1).reg);
}

TEST(ShaderDebuggerShaderTest, KeepsItsOwnCopyOfTheData)
{
    XAN_Test::CRecordingHost host;
    XAN_Test::CTestDebugger* pDebugger = host.AttachDebugger();
    unsigned char data[5] = {1, 2, 3, 4, 5};
    XAN_Test::CTestShader shader(pDebugger, data, sizeof(data));
    data[0] = 9;
    ASSERT_NE(nullptr, shader.GetShaderData());
    EXPECT_EQ(5u, shader.GetShaderDataSize());
    EXPECT_EQ(1, shader.GetShaderData()[0]);
    EXPECT_EQ(&host, shader.GetHost());
    EXPECT_EQ(pDebugger, shader.GetDebugger());

    XAN_Test::CTestShader empty(pDebugger);
    EXPECT_EQ(nullptr, empty.GetShaderData());
    EXPECT_EQ(0u, empty.GetShaderDataSize());

    // Without a source the buffer exists but isn't filled.
    XAN_Test::CTestShader unfilled(pDebugger, NULL, 8);
    EXPECT_NE(nullptr, unfilled.GetShaderData());
    EXPECT_TRUE(host.m_vLines.empty());

    XAN_Test::CTestShader orphan(NULL);
    EXPECT_EQ(nullptr, orphan.GetHost());
}

TEST(ShaderDebuggerShaderTest, StartDebuggingNeedsADebuggableModeAndResetsThePosition)
{
    XAN_Test::CRecordingHost host;
    XAN_Test::CTestShader shader(host.AttachDebugger());

    EXPECT_FALSE(shader.StartDebugging(1));
    EXPECT_TRUE(host.HasAssert("IsShaderDebuggable(mode)"));
    EXPECT_FALSE(shader.IsDebugging());

    shader.Info().nDebuggableModes = 1;
    shader.MoveTo(7);
    EXPECT_TRUE(shader.StartDebugging(1));
    EXPECT_TRUE(shader.IsDebugging());
    EXPECT_EQ(1u, shader.m_nLastMode);
    EXPECT_EQ(ProgramCounter(0), shader.GetCurrentInstruction());
    EXPECT_EQ(ProgramCounter(0), shader.GetNextInstruction());
    EXPECT_TRUE(shader.CallStack().empty());
    EXPECT_TRUE(shader.ExecutedSteps().empty());

    host.m_vLines.clear();
    EXPECT_FALSE(shader.StartDebugging(1));
    EXPECT_TRUE(host.HasAssert("!IsDebugging()"));

    shader.EndDebugging();
    EXPECT_FALSE(shader.IsDebugging());
    EXPECT_FALSE(shader.StartDebugging(4));

    // The engine's SetDebugMode has the last word.
    shader.m_bSetDebugModeResult = false;
    EXPECT_FALSE(shader.StartDebugging(1));
}

TEST(ShaderDebuggerShaderTest, GetShaderInfoCopiesTheRecord)
{
    XAN_Test::CRecordingHost host;
    XAN_Test::CTestShader shader(host.AttachDebugger());
    shader.Info().strError[0] = shader.Info().strError[1] = shader.Info().strError[2] = "refused";

    ShaderInfo info;
    ASSERT_TRUE(shader.GetShaderInfo(&info));
    EXPECT_EQ("refused", info.strError[1]);
    EXPECT_FALSE(shader.GetShaderInfo(NULL));
    EXPECT_TRUE(host.HasAssert("pInfo != NULL"));
}
