// The queries that a front-end calls from inside its callback: breakpoints, position, kernel
// binary, execution mask, tracked registers and their values, private and global memory. Each
// is a checked bridge to the debugger behind a live debug state.
#include "ConvertRegister.h"
#include "ExportCall.h"
#include "KernelDebugState.h"
#include "ShaderUtils/SUBuffer.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <new>
#include <sstream>

namespace
{
typedef boost::unique_lock<boost::mutex> StatesLock;
typedef XAN_ShaderDebugger::CShaderDebuggerHostCL Host;

// The events at which a query may be made.
enum EventsAllowed
{
    EVENTS_STARTED,
    EVENTS_HALTED,
    EVENTS_BEFORE_END, // any but finished and error
    EVENTS_ANY
};

bool IsEventAllowed(cl_uint debugEvent, EventsAllowed allowed)
{
    switch (allowed)
    {
    case EVENTS_STARTED:
        return debugEvent == XANCLDEBUG_EVENT_STARTED;
    case EVENTS_HALTED:
        return debugEvent == XANCLDEBUG_EVENT_HALTED;
    case EVENTS_BEFORE_END:
        return debugEvent != XANCLDEBUG_EVENT_FINISHED && debugEvent != XANCLDEBUG_EVENT_ERROR;
    default:
        return true;
    }
}

// The frame of every query: the call line, the lock, the handle and event tests, the work, and
// the return line. The handle is dereferenced only once it is found among the live states.
template <typename TWork, typename... TArgs>
xanclDebugStatus Query(const char* pFunction, EventsAllowed allowed, TWork work,
                       KernelDebugState* pKernelDebugState, const TArgs&... args)
{
    try
    {
        LogCall(pFunction, pKernelDebugState, args...);
        xanclDebugStatus status = XANCLDEBUG_SUCCESS;
        {
            StatesLock lock(g_KernelDebugStatesMutex);
            KernelDebugState* pMyKernelDebugState = pKernelDebugState;
            if (g_KernelDebugStates.find(pMyKernelDebugState) == g_KernelDebugStates.end() ||
                pMyKernelDebugState->m_pHost == NULL)
            {
                status = XANCLDEBUG_ERROR_INVALID_STATE;
            }
            else if (!IsEventAllowed(pMyKernelDebugState->m_debugEvent, allowed))
            {
                status = XANCLDEBUG_ERROR_WRONG_EVENT;
            }
            else
            {
                status = work(*pMyKernelDebugState, *pMyKernelDebugState->m_pHost,
                              APIUsageLog::GetInstance());
            }
        }
        return LogReturn(pFunction, status);
    }
    catch (const std::bad_alloc&)
    {
        return LogReturn(pFunction, XANCLDEBUG_ERROR_OUT_OF_MEMORY);
    }
}

// Bytes in hexadecimal, two digits each, each followed by a blank.
std::string HexBytes(const unsigned char* pBytes, size_t nCount)
{
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (size_t i = 0; i < nCount; ++i)
    {
        text << std::setw(2) << static_cast<unsigned>(pBytes[i]) << " ";
    }
    return text.str();
}

// "0x<start> - 0x<end>: " in zero-filled hexadecimal, end inclusive, and the bytes.
std::string MemoryLine(size_t nAddress, const unsigned char* pBytes, size_t nCount)
{
    std::ostringstream text;
    text << std::hex << std::setfill('0') << "0x" << std::setw(8) << nAddress << " - 0x"
         << std::setw(8) << nAddress + nCount - (nCount != 0 ? 1 : 0) << ": "
         << HexBytes(pBytes, nCount) << "\n";
    return text.str();
}

// The register through which a GPU family reaches private memory, indexed by 16-byte units.
struct PrivateMemoryRegister
{
    DLRegType type;
    cl_uint nNumber;
};
PrivateMemoryRegister GetPrivateMemoryRegister(bool bIsTidalReefs)
{
    return bIsTidalReefs ? PrivateMemoryRegister{DL_REGTYPE_PRIVATE_UAV_ACCESS, 8}
                         : PrivateMemoryRegister{DL_REGTYPE_INDEXABLE_TEMP, 1};
}

// "PrivateUAVAccess8" or "x1": the variable that a tracking set holds for private memory.
std::string GetPrivateMemoryName(bool bIsTidalReefs)
{
    const PrivateMemoryRegister reg = GetPrivateMemoryRegister(bIsTidalReefs);
    return DLRegTypeToString(reg.type) + std::to_string(reg.nNumber);
}

// The name of element nIndex of the private memory register.
std::string GetPrivateMemoryElementName(const PrivateMemoryRegister& reg, size_t nIndex)
{
    return debugRegisterLocatorToString(DL_LOCATOR_GENERAL | (reg.type & 0xFF) |
                                        (cl_ulong(reg.nNumber & 0xFFFF) << 8) |
                                        ((cl_ulong(nIndex) & 0xFFFFFFFF) << 24));
}

ShaderUtils::SUBuffer* GetNamedResults(Host& host, const std::string& strName)
{
    const XAN_ShaderDebugger::varID id = {2, strName};
    return host.GetRegisterResultsBuffer(id);
}

size_t GetNumWorkItems(const KernelDebugState& state)
{
    size_t nNumWorkItems = 1;
    for (cl_uint i = 0; i < state.m_workSize[0] && i < 4; ++i)
    {
        nNumWorkItems *= state.m_workSize[1 + i];
    }
    return nNumWorkItems;
}

// The first 800 bytes of work item 0's private memory, read as the older family names it.
void LogPrivateMemoryTrace(Host& host, APIUsageLog& log)
{
    const size_t nTraceBytes = 800;
    log << "First " << (nTraceBytes + 15) / 16 * 16
        << " bytes of private memory for work item 0:\n";
    const PrivateMemoryRegister reg = GetPrivateMemoryRegister(false);
    for (size_t nIndex = 0; nIndex * 16 < nTraceBytes; ++nIndex)
    {
        unsigned char bytes[16] = {};
        const ShaderUtils::SUBuffer* pValue =
            GetNamedResults(host, GetPrivateMemoryElementName(reg, nIndex));
        if (pValue != NULL && pValue->GetDataSize() >= 16)
        {
            memcpy(bytes, pValue->GetSubResource(0), 16);
        }
        log << MemoryLine(nIndex * 16, bytes, 16);
    }
}
} // namespace

XANCL_API xanclDebugStatus xanclDebugGetProgramCounter(KernelDebugState* pKernelDebugState,
                                                       cl_uint* pProgramCounter)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (pProgramCounter == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            *pProgramCounter = host.GetNextLine();
            log << "Program counter = " << *pProgramCounter << "\n";
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pProgramCounter);
}

XANCL_API xanclDebugStatus xanclDebugSetBreakpoint(KernelDebugState* pKernelDebugState,
                                                   cl_uint nLine, cl_uint nMaxDistance,
                                                   cl_uint* pOutputLine)
{
    return Query(
        __func__, EVENTS_BEFORE_END,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            uint32_t outputLine = 0;
            if (!host.AddBreakPointAtLineNumber(nLine, nMaxDistance, &outputLine))
            {
                return XANCLDEBUG_ERROR_OPERATION_FAILED;
            }
            log << "Breakpont at program counter = " << outputLine << "\n";
            if (pOutputLine != NULL)
            {
                *pOutputLine = outputLine;
            }
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, nLine, nMaxDistance, pOutputLine);
}

XANCL_API xanclDebugStatus xanclDebugClearBreakpoint(KernelDebugState* pKernelDebugState,
                                                     cl_uint nLine)
{
    return Query(
        __func__, EVENTS_BEFORE_END,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            return host.RemoveBreakPointAtLineNumber(nLine) ? XANCLDEBUG_SUCCESS
                                                            : XANCLDEBUG_ERROR_OPERATION_FAILED;
        },
        pKernelDebugState, nLine);
}

XANCL_API xanclDebugStatus xanclDebugClearAllBreakpoints(KernelDebugState* pKernelDebugState)
{
    return Query(
        __func__, EVENTS_BEFORE_END,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            if (!host.RemoveAllBreakPoints())
            {
                CLD_Break("RemoveAllBreakPoints() failed.");
                // The one answer outside the status table.
                return static_cast<xanclDebugStatus>(-1);
            }
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState);
}

XANCL_API xanclDebugStatus xanclDebugGetNumBreakpoints(KernelDebugState* pKernelDebugState,
                                                       size_t* pCount)
{
    return Query(
        __func__, EVENTS_BEFORE_END,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (pCount == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            *pCount = host.GetAllBreakpoints(NULL);
            log << "Number of breakpoints = " << *pCount << "\n";
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pCount);
}

XANCL_API xanclDebugStatus xanclDebugGetAllBreakpoints(KernelDebugState* pKernelDebugState,
                                                       cl_uint* pBreakpoints, size_t nMaxCount)
{
    return Query(
        __func__, EVENTS_BEFORE_END,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            if (pBreakpoints == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            std::set<uint32_t> lines;
            host.GetAllBreakpoints(&lines);
            std::copy_n(lines.begin(), std::min(lines.size(), nMaxCount), pBreakpoints);
            return nMaxCount < lines.size() ? XANCLDEBUG_ERROR_BUFFER_TOO_SMALL
                                            : XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pBreakpoints, nMaxCount);
}

XANCL_API xanclDebugStatus xanclDebugGetKernelBinarySize(KernelDebugState* pKernelDebugState,
                                                         size_t* pSize)
{
    return Query(
        __func__, EVENTS_ANY,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            if (pSize == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            *pSize = host.GetKernelBinary().size();
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pSize);
}

XANCL_API xanclDebugStatus xanclDebugGetKernelBinary(KernelDebugState* pKernelDebugState,
                                                     void* pBuffer, size_t nBufferSize)
{
    return Query(
        __func__, EVENTS_ANY,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            if (pBuffer == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            const std::vector<unsigned char>& vBinary = host.GetKernelBinary();
            if (nBufferSize < vBinary.size())
            {
                return XANCLDEBUG_ERROR_BUFFER_TOO_SMALL;
            }
            std::copy(vBinary.begin(), vBinary.end(), static_cast<unsigned char*>(pBuffer));
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pBuffer, nBufferSize);
}

XANCL_API xanclDebugStatus xanclDebugGetExecutionMask(KernelDebugState* pKernelDebugState,
                                                      const cl_uint** ppMask, size_t* pCount)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (ppMask == NULL || pCount == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            const ShaderUtils::SUBuffer* pMask = host.GetExecMaskBuffer();
            if (pMask == NULL)
            {
                return XANCLDEBUG_ERROR_WRONG_EVENT;
            }
            *ppMask = reinterpret_cast<const cl_uint*>(pMask->GetSubResource(0));
            *pCount = static_cast<size_t>(pMask->GetDataSize() / sizeof(cl_uint));
            if (*pCount != 0)
            {
                std::ostringstream text;
                text << "Work item 0 = " << std::hex << std::setfill('0') << std::setw(8)
                     << (*ppMask)[0] << "\n";
                log << text.str();
            }
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, ppMask, pCount);
}

XANCL_API xanclDebugStatus xanclDebugSetTrackingRegisters(KernelDebugState* pKernelDebugState,
                                                          const cl_ulong* pLocators, size_t nCount)
{
    return Query(
        __func__, EVENTS_STARTED,
        [=](KernelDebugState& state, Host& host, APIUsageLog& log)
        {
            if (pLocators == NULL)
            {
                if (nCount != 0)
                {
                    return XANCLDEBUG_ERROR_NULL_ARGUMENT;
                }
                host.SetTrackSelectedRegisters(false);
                return XANCLDEBUG_SUCCESS;
            }
            // A name entered twice counts once; the set is handed over only when all are good.
            std::set<std::string> variableNames;
            std::string strNames;
            const auto insert = [&variableNames, &strNames](const std::string& strName)
            {
                variableNames.insert(strName);
                strNames += strName + " ";
            };
            if (state.m_bTrackPrivateMemory)
            {
                insert(GetPrivateMemoryName(state.m_bIsTidalReefs));
            }
            for (size_t i = 0; i < nCount; ++i)
            {
                const std::string strName = debugRegisterLocatorToString(pLocators[i]);
                if (strName.empty())
                {
                    return XANCLDEBUG_ERROR_INVALID_REGISTER;
                }
                insert(strName);
                // A tracked element of an array brings the whole array with it.
                if (strName.find('[') != std::string::npos)
                {
                    insert(strName.substr(0, strName.find('[')));
                }
            }
            log << strNames << "\n";
            if (!host.SetTrackingRegisters(variableNames))
            {
                return XANCLDEBUG_ERROR_INVALID_REGISTER;
            }
            host.SetTrackSelectedRegisters(true);
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pLocators, nCount);
}

XANCL_API xanclDebugStatus xanclDebugSetTrackPrivateMemory(KernelDebugState* pKernelDebugState,
                                                           cl_bool bTrack)
{
    return Query(
        __func__, EVENTS_STARTED,
        [=](KernelDebugState& state, Host& host, APIUsageLog&)
        {
            if (host.IsTrackSelectedRegisters())
            {
                std::set<std::string> variableNames;
                host.GetTrackingRegisters(variableNames);
                const std::string strPrivate = GetPrivateMemoryName(state.m_bIsTidalReefs);
                if (bTrack == CL_TRUE)
                {
                    variableNames.insert(strPrivate);
                }
                else
                {
                    variableNames.erase(strPrivate);
                }
                if (!host.SetTrackingRegisters(variableNames))
                {
                    return XANCLDEBUG_ERROR_INTERNAL;
                }
            }
            state.m_bTrackPrivateMemory = bTrack != CL_FALSE;
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, bTrack);
}

XANCL_API xanclDebugStatus xanclDebugGetNumberOfActiveRegisters(KernelDebugState* pKernelDebugState,
                                                                size_t* pCount)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (pCount == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            std::vector<std::string> vActiveRegisters;
            if (!host.GetActiveRegisters(&vActiveRegisters))
            {
                return XANCLDEBUG_ERROR_OPERATION_FAILED;
            }
            *pCount = vActiveRegisters.size();
            log << "Number of active registers = " << *pCount << "\n";
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pCount);
}

XANCL_API xanclDebugStatus xanclDebugGetActiveRegisters(KernelDebugState* pKernelDebugState,
                                                        cl_ulong* pLocators, size_t nMaxCount)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (pLocators == NULL && nMaxCount != 0)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            std::vector<std::string> vActiveRegisters;
            if (!host.GetActiveRegisters(&vActiveRegisters))
            {
                return XANCLDEBUG_ERROR_OPERATION_FAILED;
            }
            if (nMaxCount < vActiveRegisters.size())
            {
                return XANCLDEBUG_ERROR_BUFFER_TOO_SMALL;
            }
            std::string strNames;
            for (size_t i = 0; i < vActiveRegisters.size(); ++i)
            {
                pLocators[i] = stringToDebugRegisterLocator(vActiveRegisters[i]);
                strNames += vActiveRegisters[i] + " ";
            }
            log << strNames << "\n";
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, pLocators, nMaxCount);
}

XANCL_API xanclDebugStatus xanclDebugGetRegisterValues(KernelDebugState* pKernelDebugState,
                                                       cl_ulong locator, const void** ppValues,
                                                       size_t* pStride, size_t* pCount)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog& log)
        {
            if (ppValues == NULL || pStride == NULL || pCount == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            const std::string strName = debugRegisterLocatorToString(locator);
            if (strName.empty())
            {
                return XANCLDEBUG_ERROR_INVALID_REGISTER;
            }
            const ShaderUtils::SUBuffer* pValues = GetNamedResults(host, strName);
            if (pValues == NULL)
            {
                return XANCLDEBUG_ERROR_INVALID_REGISTER;
            }
            *ppValues = pValues->GetSubResource(0);
            *pStride = 16;
            *pCount = static_cast<size_t>(pValues->GetDataSize() / 16);
            if (*pCount != 0)
            {
                log << strName << ", Work item 0 =\n"
                    << HexBytes(pValues->GetSubResource(0), 16) << "\n";
            }
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, locator, ppValues, pStride, pCount);
}

XANCL_API xanclDebugStatus xanclDebugGetPrivateMemoryValues(KernelDebugState* pKernelDebugState,
                                                            size_t nAddress, size_t nCount,
                                                            void* pBuffer, size_t* pBytesWritten)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState& state, Host& host, APIUsageLog& log)
        {
            if ((pBuffer == NULL && nCount != 0) || pBytesWritten == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            if (nAddress + nCount < nAddress)
            {
                return XANCLDEBUG_ERROR_INTERNAL;
            }
            LogPrivateMemoryTrace(host, log);
            const PrivateMemoryRegister reg = GetPrivateMemoryRegister(state.m_bIsTidalReefs);
            const size_t nNumWorkItems = GetNumWorkItems(state);
            unsigned char* pOut = static_cast<unsigned char*>(pBuffer);
            size_t nRemaining = nCount;
            size_t nOutOffset = 0;
            size_t nBytes = 0;
            // Work-item major: the bytes of work item i start at i * nCount.
            for (size_t address = nAddress; address < nAddress + nCount;)
            {
                const std::string strName = GetPrivateMemoryElementName(reg, address / 16);
                CLD_Assert(!strName.empty());
                if (strName.empty())
                {
                    return XANCLDEBUG_ERROR_INTERNAL;
                }
                const ShaderUtils::SUBuffer* pRegValue = GetNamedResults(host, strName);
                const size_t offset = address % 16;
                const size_t n = std::min<size_t>(16 - offset, nRemaining);
                if (pRegValue == NULL)
                {
                    for (size_t i = 0; i < nNumWorkItems; ++i)
                    {
                        memset(pOut + i * nCount + nOutOffset, 0, n);
                        nBytes += n;
                    }
                    log << "Zeros\n";
                }
                else
                {
                    CLD_Assert(nNumWorkItems * 16 == pRegValue->GetDataSize());
                    if (nNumWorkItems * 16 != pRegValue->GetDataSize())
                    {
                        return XANCLDEBUG_ERROR_INTERNAL;
                    }
                    const unsigned char* pSource = pRegValue->GetSubResource(0);
                    for (size_t i = 0; i < nNumWorkItems; ++i)
                    {
                        memcpy(pOut + i * nCount + nOutOffset, pSource + i * 16 + offset, n);
                        nBytes += n;
                    }
                    log << MemoryLine(address, pOut + nOutOffset, n);
                }
                address += n;
                nOutOffset += n;
                nRemaining -= n;
            }
            CLD_Assert(nBytes == nNumWorkItems * nCount);
            if (nBytes != nNumWorkItems * nCount)
            {
                return XANCLDEBUG_ERROR_INTERNAL;
            }
            *pBytesWritten = nBytes;
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, nAddress, nCount, pBuffer, pBytesWritten);
}

namespace
{
// The regions that a global read may reach, one line each.
void LogValidRegions(Host& host, APIUsageLog& log)
{
    size_t nNumRegions = 0;
    if (!host.GetValidGlobalMemoryRegions(0, NULL, &nNumRegions))
    {
        return;
    }
    std::vector<xanclDebugMemoryRegion> vRegions(nNumRegions);
    if (nNumRegions == 0 ||
        !host.GetValidGlobalMemoryRegions(vRegions.size(), vRegions.data(), &nNumRegions))
    {
        return;
    }
    std::ostringstream text;
    for (size_t i = 0; i < nNumRegions && i < vRegions.size(); ++i)
    {
        text << i << ". " << vRegions[i].uavID << " ( " << vRegions[i].start << " - "
             << vRegions[i].end << " )\n";
    }
    log << text.str();
}
} // namespace

XANCL_API xanclDebugStatus xanclDebugGetGlobalMemoryValues(KernelDebugState* pKernelDebugState,
                                                           cl_uint nUAV, size_t nAddress,
                                                           size_t nCount, void* pBuffer,
                                                           size_t* pBytesWritten)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState& state, Host& host, APIUsageLog& log)
        {
            if (pBuffer == NULL && nCount != 0)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            LogValidRegions(host, log);
            bool bRead = host.GetGlobalMemory(nUAV, nAddress, nCount, pBuffer, pBytesWritten);
            // The older family may have placed the buffer behind another of its raw UAVs.
            if (!bRead && !state.m_bIsTidalReefs && (nUAV == 0 || nUAV == 8 || nUAV == 11))
            {
                log << "Trying UAV 11\n";
                bRead = host.GetGlobalMemory(11, nAddress, nCount, pBuffer, pBytesWritten);
                if (!bRead)
                {
                    log << "Trying UAV 8\n";
                    bRead = host.GetGlobalMemory(8, nAddress, nCount, pBuffer, pBytesWritten);
                }
            }
            if (!bRead)
            {
                return XANCLDEBUG_ERROR_INVALID_REGISTER;
            }
            if (pBuffer != NULL)
            {
                log << MemoryLine(nAddress, static_cast<const unsigned char*>(pBuffer), nCount);
            }
            if (pBytesWritten != NULL)
            {
                log << "*outputSize = " << *pBytesWritten << "\n";
            }
            return XANCLDEBUG_SUCCESS;
        },
        pKernelDebugState, nUAV, nAddress, nCount, pBuffer, pBytesWritten);
}

XANCL_API xanclDebugStatus
xanclDebugGetValidGlobalMemoryRegions(KernelDebugState* pKernelDebugState, size_t nMaxRegions,
                                      xanclDebugMemoryRegion* pRegions, size_t* pNumRegions)
{
    return Query(
        __func__, EVENTS_HALTED,
        [=](KernelDebugState&, Host& host, APIUsageLog&)
        {
            if ((pRegions == NULL && nMaxRegions != 0) || pNumRegions == NULL)
            {
                return XANCLDEBUG_ERROR_NULL_ARGUMENT;
            }
            return host.GetValidGlobalMemoryRegions(nMaxRegions, pRegions, pNumRegions)
                       ? XANCLDEBUG_SUCCESS
                       : XANCLDEBUG_ERROR_BUFFER_TOO_SMALL;
        },
        pKernelDebugState, nMaxRegions, pRegions, pNumRegions);
}
