#ifndef XAN_TOOLS_XANCLDB_CJSONREPORT_H
#define XAN_TOOLS_XANCLDB_CJSONREPORT_H

#include "CValueSummary.h"
#include "CWorkItemSpace.h"

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Xancldb
{
// A register shown at every stop.
struct SDisplayed
{
    std::string strExpression; // as the user gave it: "r0.x @all"
    std::string strRegister;
    bool bLive = false;
    std::vector<RegisterValue> vValues; // one per work-item
};

// One stop of the kernel, as --json reports it.
struct SStop
{
    std::string strEvent;  // "started", "halted", "finished", "error"
    std::string strReason; // halted: "step", "breakpoint", "interrupt", "back"
    uint32_t nBreakpoint = 0;
    bool bHasLine = false;
    uint32_t nLine = 0;
    std::string strInstruction;
    uint64_t nStep = 0; // the steps made since the kernel started
    size_t nWorkItem = 0;
    std::vector<bool> vActive;
    std::vector<SDisplayed> vDisplayed;
    std::string strMessage; // error
};

// The lines that --json writes, one JSON object each: a stop, what a command printed, an
// error, the comparison with a native run.
class CJsonReport
{
public:
    // {"event", "reason", "line", "instruction", "step", "workitem", "mask": {"active", "total",
    // "ranges": [[first, last], ...]}, "display": [{"expression", "register", "live",
    // "values": [[x, y, z, w], ...]}]}
    static std::string Stop(const CWorkItemSpace& space, const SStop& stop);
    static std::string Output(const std::string& strCommand, const std::string& strText);
    static std::string Error(const std::string& strCommand, const std::string& strMessage);
    static std::string Verify(bool bIdentical, const std::string& strReport);
};
} // namespace XAN_Xancldb

#endif
