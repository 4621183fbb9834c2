#include "CLMetadata.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>

namespace
{
// A kernel's metadata block with an entry of each kind that the kernels use.
const std::string g_strBlock = XAN_Test::ReadFile(XAN_TEST_DATA_DIR "/vadd.metadata");

std::string Block(const std::string& strVersion, const std::string& strBody)
{
    return ";ARGSTART:k\n;version:" + strVersion + "\n" + strBody + ";ARGEND:k\n";
}

std::string ConsistencyLog()
{
    return XAN_Test::ReadFile("XANOpenCLDebugAPIConsistency.log");
}
} // namespace

TEST(CLMetadataTest, UnchangedTextPrintsBackByteForByte)
{
    CCLMetadata metadata;
    ASSERT_TRUE(metadata.Parse(g_strBlock));
    EXPECT_EQ(metadata.GetText(), g_strBlock);
    ASSERT_EQ(metadata.GetEntries().size(), 17u);
    // Unknown types stay plain entries with their tokens as they came, empty ones included.
    const CCLMetadataEntry* pOdd = metadata.GetEntries()[14];
    EXPECT_EQ(pOdd->GetEntryType(), "reflection");
    EXPECT_EQ(pOdd->GetTokens(),
              (std::vector<std::string>{"reflection", "1", "", " odd ", "", ""}));
    EXPECT_NE(dynamic_cast<const CCLMetadataPointerEntryR100*>(metadata.GetEntries()[9]), nullptr);

    // What lies around the block doesn't come back; the entries do.
    CCLMetadata framed;
    ASSERT_TRUE(framed.Parse(";comment:before\n" +
                             boost::replace_first_copy(g_strBlock, "\n", "\n;dropped:line\n") +
                             "not a metadata line\n\n"));
    EXPECT_EQ(framed.GetText(), g_strBlock);
    // Parsing again replaces the entries.
    ASSERT_TRUE(framed.Parse(Block("2:0:0", "")));
    EXPECT_EQ(framed.GetEntries().size(), 3u);
}

TEST(CLMetadataTest, QueriesAnswerFromTheirFirstEntry)
{
    CCLMetadata metadata;
    ASSERT_TRUE(metadata.Parse(g_strBlock));
    uint32_t nMajor = 0;
    uint32_t nMinor = 0;
    uint32_t nRevision = 0;
    ASSERT_TRUE(metadata.GetVersion(&nMajor, &nMinor, &nRevision));
    EXPECT_EQ(nMajor * 1000 + nMinor * 100 + nRevision, 3211u);
    EXPECT_FALSE(metadata.GetVersion(&nMajor, nullptr, &nRevision));
    EXPECT_EQ(metadata.GetDevice(), "larkspur");
    EXPECT_EQ(metadata.GetFunctionName(), "__OpenCL_vadd_kernel");
    EXPECT_EQ(metadata.GetUniqueId(), 1024u);
    EXPECT_TRUE(metadata.Is64BitABI());
    EXPECT_EQ(metadata.GetFunctionId(), 1025u);
    EXPECT_EQ(metadata.GetPrivateMemoryType(), 2u);
    EXPECT_EQ(metadata.GetPrivateId(), 8u);
    EXPECT_EQ(metadata.GetUavId(), 11u);
    EXPECT_EQ(metadata.GetArgBufferSize(), 48u);
    std::vector<CCLMetadataEntry*> vArguments;
    metadata.GetArguments(vArguments);
    ASSERT_EQ(vArguments.size(), 3u);
    EXPECT_EQ(vArguments[2]->GetEntryType(), "value");

    CCLMetadata sparse;
    ASSERT_TRUE(sparse.Parse(Block("2:0:50", ";memory:hwprivate:16\n;memory:uavprivate:0\n")));
    EXPECT_EQ(sparse.GetPrivateMemoryType(), 1u);
    EXPECT_FALSE(sparse.Is64BitABI());
    EXPECT_EQ(sparse.GetFunctionId(), 0xFFFFFFFFu);
    EXPECT_EQ(sparse.GetPrivateId(), 0xFFFFFFFFu);
    EXPECT_EQ(sparse.GetUavId(), 0xFFFFFFFFu);
    EXPECT_EQ(sparse.GetUniqueId(), 0u);
    EXPECT_EQ(sparse.GetDevice(), "");
    EXPECT_EQ(sparse.GetArgBufferSize(), 0u);
}

TEST(CLMetadataTest, ABlockThatIsNotWellFormedAnswersNeutralValues)
{
    CCLMetadata empty;
    CCLMetadata open;
    ASSERT_TRUE(open.Parse(";ARGSTART:__OpenCL_k_kernel"));
    // Running out of lines before "ARGEND" still parses.
    CCLMetadata unfinished;
    ASSERT_TRUE(unfinished.Parse(";ARGSTART:k\n;version:2:0:0\n;device:larkspur\n;uniqueid:7"));
    EXPECT_EQ(empty.GetFunctionName(), "");
    EXPECT_EQ(open.GetFunctionName(), "__OpenCL_k_kernel");
    EXPECT_EQ(unfinished.GetFunctionName(), "k");
    for (CCLMetadata* pMetadata : {&empty, &open, &unfinished})
    {
        uint32_t nMajor = 0;
        EXPECT_FALSE(pMetadata->GetVersion(&nMajor, &nMajor, &nMajor));
        EXPECT_EQ(pMetadata->GetDevice(), "");
        EXPECT_EQ(pMetadata->GetUniqueId(), 0u);
        EXPECT_FALSE(pMetadata->Is64BitABI());
        EXPECT_EQ(pMetadata->GetFunctionId(), 0u);
        EXPECT_EQ(pMetadata->GetPrivateMemoryType(), 0u);
        EXPECT_EQ(pMetadata->GetPrivateId(), 0xFFFFFFFFu);
        EXPECT_EQ(pMetadata->GetUavId(), 0xFFFFFFFFu);
        EXPECT_FALSE(pMetadata->SetUavId(3));
        EXPECT_FALSE(pMetadata->SetLocalMemorySize(0));
        EXPECT_EQ(pMetadata->GetArgBufferSize(), 0u);
        EXPECT_FALSE(pMetadata->AddFunctionId(5));
        // Refused entries are deleted, not leaked.
        EXPECT_FALSE(pMetadata->InsertArgument(new CCLMetadataValueEntry));
        EXPECT_FALSE(pMetadata->InsertEntryAfterStart(new CCLMetadataDeviceEntry));
    }
    EXPECT_EQ(unfinished.GetText(), ";ARGSTART:k\n;version:2:0:0\n;device:larkspur\n;uniqueid:7\n");
}

TEST(CLMetadataTest, TheGrammarTheVersionAndTheRevisionDecideTheParse)
{
    const std::string strPointer9 = ";pointer:p:i32:1:1:0:uav:11:4";
    const std::string strPointer10 = strPointer9 + ":RW";
    const std::string strPointer12 = strPointer10 + ":1:0";
    const std::pair<std::string, bool> rows[] = {
        // Names of the two ends must agree.
        {";ARGSTART:k\n;version:2:0:0\n;ARGEND:other\n", false},
        // Every line up to "ARGEND" needs a semicolon and a colon, also the dropped ones.
        {Block("2:0:0", ";device\n"), false},
        {";ARGSTART:k\n;no colon here\n;version:2:0:0\n;ARGEND:k\n", false},
        {"device:larkspur\n" + Block("2:0:0", ""), false},
        {Block("2:0:0", "\n"), false},
        {"", false},
        {Block("2:0:0", "") + "\n\nanything", true},
        // Known types have a fixed length.
        {";ARGSTART:k:x\n;version:2:0:0\n;ARGEND:k\n", false},
        {";ARGSTART:k\n;version:2:0\n;ARGEND:k\n", false},
        {Block("2:0:0", ";uniqueid:1:2\n"), false},
        {Block("2:0:0", ";mem64bitABI:\n"), false},
        {Block("2:0:0", ";function:2:5:6\n"), false},
        {Block("2:0:0", ";memory:hwlocal:0:1\n"), false},
        {Block("2:0:0", ";memory:hwlocal:0\n;memory:64bitABI\n"), true},
        // Versions outside the known range.
        {Block("1:3:0", ""), false},
        {Block("1:4:0", ""), true},
        {Block("0:0:0", ""), true},
        {Block("3:9:111", ""), true},
        {Block("4:0:0", ""), false},
        {Block("99999999999:0:0", ""), false},
        {Block("2:0:112", ""), false},
        // The revision chooses the pointer form.
        {Block("2:0:86", strPointer9 + "\n"), true},
        {Block("2:0:86", strPointer10 + "\n"), false},
        {Block("2:0:87", strPointer10 + "\n"), true},
        {Block("2:0:87", strPointer9 + "\n"), false},
        {Block("2:0:87", strPointer12 + "\n"), false},
        {Block("2:0:99", strPointer10 + "\n"), true},
        {Block("2:0:100", strPointer12 + "\n"), true},
        {Block("2:0:100", strPointer10 + "\n"), false},
    };
    for (const auto& row : rows)
    {
        CCLMetadata metadata;
        EXPECT_EQ(row.second, metadata.Parse(row.first)) << row.first;
    }
    EXPECT_NE(ConsistencyLog().find("SDU_Assert( nRevision <= 111 )"), std::string::npos);

    CCLMetadata metadata;
    ASSERT_TRUE(metadata.Parse(Block("2:0:100", strPointer12 + "\n")));
    const CCLMetadataPointerEntryR100* pPointer =
        dynamic_cast<const CCLMetadataPointerEntryR100*>(metadata.GetEntries()[2]);
    ASSERT_NE(pPointer, nullptr);
    EXPECT_EQ(pPointer->GetName(), "p");
    EXPECT_EQ(pPointer->GetMemoryType(), "uav");
    EXPECT_EQ(pPointer->GetResourceId(), 11u);
    EXPECT_EQ(pPointer->GetAlignment(), 4u);
    EXPECT_EQ(pPointer->GetAccess(), 3u);
    EXPECT_TRUE(pPointer->GetFirstFlag());
    EXPECT_FALSE(pPointer->GetSecondFlag());
    ASSERT_TRUE(metadata.Parse(Block("2:0:90", strPointer10 + "\n")));
    EXPECT_EQ(dynamic_cast<const CCLMetadataPointerEntryR100*>(metadata.GetEntries()[2]), nullptr);
    EXPECT_NE(dynamic_cast<const CCLMetadataPointerEntryR87*>(metadata.GetEntries()[2]), nullptr);
}

TEST(CLMetadataTest, SixtyFourBitAddressesAreDeclaredByAMemoryLine)
{
    CCLMetadata bare;
    ASSERT_TRUE(bare.Parse(Block("2:0:0", ";memory:64bitABI\n")));
    EXPECT_TRUE(bare.Is64BitABI());
    const CCLMetadataMemoryEntry* pMemory =
        dynamic_cast<const CCLMetadataMemoryEntry*>(bare.GetEntries()[2]);
    ASSERT_NE(pMemory, nullptr);
    EXPECT_EQ(pMemory->GetMemoryName(), "64bitABI");
    EXPECT_EQ(pMemory->GetMemorySize(), 0u);

    CCLMetadata sized;
    ASSERT_TRUE(sized.Parse(Block("2:0:0", ";memory:64bitABI:8\n")));
    EXPECT_TRUE(sized.Is64BitABI());

    // The entry of its own can only be made in memory.
    CCLMetadata built;
    ASSERT_TRUE(built.Parse(Block("2:0:0", "")));
    ASSERT_FALSE(built.Is64BitABI());
    ASSERT_TRUE(built.InsertEntryAfterStart(new CCLMetadataMem64bitABIEntry));
    EXPECT_TRUE(built.Is64BitABI());
    EXPECT_EQ(built.GetText(), ";ARGSTART:k\n;mem64bitABI\n;version:2:0:0\n;ARGEND:k\n");
}

TEST(CLMetadataTest, ArgumentSizesFollowTheirDataTypes)
{
    CCLMetadata metadata;
    ASSERT_TRUE(metadata.Parse(Block("2:0:0", ";value:a:i8:3:1:0\n"
                                              ";value:b:double:3:1:16\n"
                                              ";value:c:i1:1:1:48\n"
                                              ";image:img:2D:RO:1:1:64\n"
                                              ";value:d:u8:2:1:96\n"
                                              ";pointer:p:float:1:1:112:uav:11:4\n"
                                              ";counter:ctr:1:2:3:4\n")));
    const std::vector<CCLMetadataEntry*>& vEntries = metadata.GetEntries();
    EXPECT_EQ(dynamic_cast<CCLMetadataValueEntry*>(vEntries[2])->GetSize(), 16u);
    EXPECT_EQ(dynamic_cast<CCLMetadataValueEntry*>(vEntries[3])->GetSize(), 32u);
    EXPECT_EQ(CCLMetadataValueEntry::GetDataTypeSize("i1"), 4u);
    EXPECT_EQ(CCLMetadataValueEntry::GetDataTypeSize("union"), 1u);
    EXPECT_EQ(CCLMetadataValueEntry::GetDataTypeSize("u8"), 0u);
    EXPECT_NE(ConsistencyLog().find("Unrecognized data type"), std::string::npos);
    EXPECT_EQ(CCLMetadataValueEntry::GetDataTypeSize("event"), 0u);
    EXPECT_NE(ConsistencyLog().find("passed as pointers rather than values"), std::string::npos);
    EXPECT_EQ(dynamic_cast<CCLMetadataImageEntry*>(vEntries[5])->GetSize(), 32u);
    // The pointer behind the image ends the buffer; the counter has no place in it.
    EXPECT_EQ(metadata.GetArgBufferSize(), 128u);
    const CCLMetadataCounterEntry* pCounter = dynamic_cast<CCLMetadataCounterEntry*>(vEntries[8]);
    ASSERT_NE(pCounter, nullptr);
    EXPECT_EQ(pCounter->GetNumber(3), 4u);
    EXPECT_EQ(pCounter->GetNumber(4), 0u);
}

TEST(CLMetadataTest, EachEditChangesOnlyItsOwnLines)
{
    CCLMetadata metadata;
    ASSERT_TRUE(metadata.Parse(g_strBlock));
    ASSERT_TRUE(metadata.SetLocalMemorySize(0));
    ASSERT_TRUE(metadata.SetUavId(12));
    std::string strExpected = boost::replace_first_copy(g_strBlock, "hwlocal:128", "hwlocal:0");
    boost::replace_first(strExpected, "uavid:11", "uavid:12");
    EXPECT_EQ(metadata.GetText(), strExpected);

    ASSERT_TRUE(metadata.AddFunctionId(2000));
    boost::replace_first(strExpected, ";function:1:1025", ";function:2:1025:2000");
    EXPECT_EQ(metadata.GetText(), strExpected);
    EXPECT_EQ(metadata.GetFunctionId(), 1025u);

    // An argument goes behind the last one and the constants that follow it.
    CCLMetadataValueEntry* pValue = new CCLMetadataValueEntry;
    pValue->SetName("extra");
    pValue->SetDataType("float");
    pValue->SetCount(4);
    pValue->SetNumber(1);
    pValue->SetBufferOffset(metadata.GetArgBufferSize());
    ASSERT_TRUE(metadata.InsertArgument(pValue));
    boost::replace_first(strExpected, ";reflection:0", ";value:extra:float:4:1:48\n;reflection:0");
    EXPECT_EQ(metadata.GetText(), strExpected);
    EXPECT_EQ(metadata.GetArgBufferSize(), 64u);

    // Given back, removed entries are the caller's.
    ASSERT_TRUE(metadata.RemoveEntry(pValue));
    EXPECT_FALSE(metadata.RemoveEntry(pValue));
    ASSERT_TRUE(metadata.AddEntry(pValue));
    EXPECT_FALSE(metadata.AddEntry(pValue));
    EXPECT_FALSE(metadata.AddEntry(nullptr));
    EXPECT_EQ(metadata.GetEntries().back(), pValue);
    EXPECT_EQ(metadata.GetDevice(), "");
}

TEST(CLMetadataTest, ArgumentsAndFunctionIdsFindTheirPlaceWithoutOthers)
{
    // No argument: the new one goes before the "function" line.
    CCLMetadata noArguments;
    ASSERT_TRUE(noArguments.Parse(Block("2:0:0", ";uavid:11\n;function:1:7\n")));
    ASSERT_TRUE(noArguments.InsertArgument(new CCLMetadataCounterEntry));
    EXPECT_EQ(noArguments.GetText(), Block("2:0:0", ";uavid:11\n;counter:::::\n;function:1:7\n"));

    // Neither argument nor "function": nowhere to go.
    CCLMetadata bare;
    ASSERT_TRUE(bare.Parse(Block("2:0:0", ";uavid:11\n")));
    EXPECT_FALSE(bare.InsertArgument(new CCLMetadataValueEntry));
    EXPECT_NE(ConsistencyLog().find("Reached ;argend without finding a ;function"),
              std::string::npos);
    EXPECT_EQ(bare.GetText(), Block("2:0:0", ";uavid:11\n"));

    // Without a "function" line, one is made before "ARGEND".
    ASSERT_TRUE(bare.AddFunctionId(9));
    EXPECT_EQ(bare.GetText(), Block("2:0:0", ";uavid:11\n;function:1:9\n"));
    EXPECT_EQ(bare.GetFunctionId(), 9u);
    // Behind the last argument with no line after it but "ARGEND".
    CCLMetadata last;
    ASSERT_TRUE(last.Parse(Block("2:0:0", ";value:v:i32:1:1:0\n")));
    ASSERT_TRUE(last.InsertArgument(new CCLMetadataImageEntry));
    EXPECT_EQ(last.GetText(), Block("2:0:0", ";value:v:i32:1:1:0\n;image::::::\n"));
}

TEST(CLMetadataTest, APatchedKernelGetsItsThreeDebugArguments)
{
    for (const std::string strRevision : {"86", "87", "111"})
    {
        CCLMetadata metadata;
        const std::string strAccess = strRevision == "86" ? "" : ":RO";
        const std::string strFlags = strRevision == "111" ? ":0:0" : "";
        ASSERT_TRUE(metadata.Parse(
            Block("3:1:" + strRevision, ";uavid:11\n;pointer:a:float:1:1:0:uav:11:4" + strAccess +
                                            strFlags + "\n;value:n:i32:1:1:16\n;function:1:5\n")));
        uint32_t nMajor = 0;
        uint32_t nMinor = 0;
        uint32_t nRevision = 0;
        ASSERT_TRUE(metadata.GetVersion(&nMajor, &nMinor, &nRevision));
        ASSERT_TRUE(metadata.AddFunctionId(6));
        ASSERT_TRUE(metadata.SetUavId(10));
        const auto makePointer = [nRevision](const std::string& strName, const std::string& strType,
                                             uint32_t nOffset,
                                             uint32_t nAlignment) -> CCLMetadataPointerEntry*
        {
            CCLMetadataPointerEntry* pPointer = nRevision < 87    ? new CCLMetadataPointerEntry
                                                : nRevision < 100 ? new CCLMetadataPointerEntryR87
                                                                  : new CCLMetadataPointerEntryR100;
            if (auto* pR87 = dynamic_cast<CCLMetadataPointerEntryR87*>(pPointer))
            {
                pR87->SetAccess(3);
            }
            if (auto* pR100 = dynamic_cast<CCLMetadataPointerEntryR100*>(pPointer))
            {
                pR100->SetFirstFlag(false);
                pR100->SetSecondFlag(false);
            }
            pPointer->SetName(strName);
            pPointer->SetDataType(strType);
            pPointer->SetCount(1);
            pPointer->SetNumber(1);
            pPointer->SetBufferOffset(nOffset);
            pPointer->SetMemoryType("uav");
            pPointer->SetResourceId(13);
            pPointer->SetAlignment(nAlignment);
            return pPointer;
        };
        ASSERT_TRUE(metadata.InsertArgument(
            makePointer("__xan_debug_result", "float", metadata.GetArgBufferSize(), 16)));
        ASSERT_TRUE(metadata.InsertArgument(
            makePointer("__xan_debug_execMask", "i32", metadata.GetArgBufferSize(), 4)));
        CCLMetadataValueEntry* pSelector = new CCLMetadataValueEntry;
        pSelector->SetName("__xan_debug_outputSelector");
        pSelector->SetDataType("i32");
        pSelector->SetCount(1);
        pSelector->SetNumber(1);
        pSelector->SetBufferOffset(metadata.GetArgBufferSize());
        ASSERT_TRUE(metadata.InsertArgument(pSelector));

        const std::string strTail = strRevision == "86" ? "" : ":RW" + strFlags;
        EXPECT_EQ(metadata.GetText(),
                  Block("3:1:" + strRevision,
                        ";uavid:10\n;pointer:a:float:1:1:0:uav:11:4" + strAccess + strFlags +
                            "\n;value:n:i32:1:1:16\n"
                            ";pointer:__xan_debug_result:float:1:1:32:uav:13:16" +
                            strTail + "\n;pointer:__xan_debug_execMask:i32:1:1:48:uav:13:4" +
                            strTail +
                            "\n;value:__xan_debug_outputSelector:i32:1:1:64\n;function:2:5:6\n"))
            << strRevision;
        EXPECT_EQ(metadata.GetArgBufferSize(), 80u);
        // A "function" line of two ids exists only in memory: as text it is refused.
        CCLMetadata again;
        EXPECT_FALSE(again.Parse(metadata.GetText()));
    }
}

TEST(CLMetadataTest, EntriesGuardTheirLength)
{
    CCLMetadataDeviceEntry device;
    EXPECT_EQ(device.GetText(), ";device:");
    EXPECT_FALSE(device.Init(device));
    CCLMetadataEntry line;
    ASSERT_TRUE(line.Parse(";uniqueid:5"));
    EXPECT_FALSE(device.Init(line));
    ASSERT_TRUE(line.Parse(";device:fennel:extra"));
    EXPECT_FALSE(device.Init(line));
    ASSERT_TRUE(line.Parse(";device:fennel"));
    ASSERT_TRUE(device.Init(line));
    EXPECT_EQ(device.GetDeviceName(), "fennel");
    EXPECT_FALSE(line.Init(line));
    EXPECT_FALSE(line.Parse("device:fennel"));
    EXPECT_FALSE(line.Parse(";device"));

    // Loaded as a plain line, a typed entry has the wrong length for its accessors.
    CCLMetadataUavIdEntry uavId;
    ASSERT_TRUE(uavId.CCLMetadataEntry::Parse(";uavid:9:9"));
    EXPECT_EQ(uavId.GetUavId(), 0u);
    uavId.SetUavId(3);
    EXPECT_EQ(uavId.GetText(), ";uavid:9:9");

    // The size of a memory line is reachable only at its full length.
    CCLMetadataMemoryEntry memory;
    ASSERT_TRUE(line.Parse(";memory:hwlocal"));
    ASSERT_TRUE(memory.Init(line));
    memory.SetMemorySize(4);
    memory.SetMemoryName("hwlocal2");
    EXPECT_EQ(memory.GetText(), ";memory:hwlocal2");

    // Numbers read their leading digits; anything else reads as 0.
    CCLMetadataUniqueIdEntry uniqueId;
    for (const auto& test :
         {std::make_pair("12ab", 12u), std::make_pair("x1", 0u), std::make_pair("", 0u),
          std::make_pair("4294967295", 4294967295u), std::make_pair("4294967296", 4294967295u)})
    {
        ASSERT_TRUE(line.Parse(std::string(";uniqueid:") + test.first));
        ASSERT_TRUE(uniqueId.Init(line));
        EXPECT_EQ(uniqueId.GetUniqueId(), test.second) << test.first;
    }

    CCLMetadataPointerEntryR87 pointer;
    EXPECT_EQ(pointer.GetAccess(), 0u);
    pointer.SetAccess(2);
    EXPECT_EQ(pointer.GetAccess(), 2u);
    EXPECT_EQ(pointer.GetText(), ";pointer:::::::::WO");
    pointer.SetAccess(4);
    EXPECT_EQ(pointer.GetAccess(), 2u);
    EXPECT_NE(ConsistencyLog().find("Unrecognized access type"), std::string::npos);

    CCLMetadataFunctionEntry function;
    function.SetIds({5, 6, 7});
    EXPECT_EQ(function.GetText(), ";function:3:5:6:7");
    EXPECT_EQ(function.GetFirstId(), 5u);
    function.AddId(8);
    EXPECT_EQ(function.GetIdCount(), 4u);
    EXPECT_EQ(function.GetText(), ";function:4:5:6:7:8");
}
