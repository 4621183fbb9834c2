#include "CJsonReport.h"

#include <nlohmann/json.hpp>

namespace XAN_Xancldb
{
std::string CJsonReport::Stop(const CWorkItemSpace& space, const SStop& stop)
{
    nlohmann::json object;
    object["event"] = stop.strEvent;
    if (!stop.strReason.empty())
    {
        object["reason"] = stop.strReason;
    }
    if (stop.nBreakpoint != 0)
    {
        object["breakpoint"] = stop.nBreakpoint;
    }
    if (!stop.strMessage.empty())
    {
        object["message"] = stop.strMessage;
    }
    object["step"] = stop.nStep;
    if (stop.bHasLine)
    {
        object["line"] = stop.nLine;
        object["instruction"] = stop.strInstruction;
    }
    object["workitem"] = space.GetId(stop.nWorkItem);
    if (!stop.vActive.empty())
    {
        std::vector<size_t> vOn;
        for (size_t i = 0; i < stop.vActive.size(); ++i)
        {
            if (stop.vActive[i])
            {
                vOn.push_back(i);
            }
        }
        nlohmann::json ranges = nlohmann::json::array();
        for (const std::pair<size_t, size_t>& run : CWorkItemSpace::GetRuns(vOn))
        {
            ranges.push_back({run.first, run.second});
        }
        object["mask"] = {
            {"active", vOn.size()}, {"total", stop.vActive.size()}, {"ranges", ranges}};
    }
    nlohmann::json displayed = nlohmann::json::array();
    for (const SDisplayed& entry : stop.vDisplayed)
    {
        nlohmann::json values = nlohmann::json::array();
        for (const RegisterValue& value : entry.vValues)
        {
            values.push_back(value);
        }
        displayed.push_back({{"expression", entry.strExpression},
                             {"register", entry.strRegister},
                             {"live", entry.bLive},
                             {"values", values}});
    }
    object["display"] = displayed;
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string CJsonReport::Output(const std::string& strCommand, const std::string& strText)
{
    return nlohmann::json({{"event", "output"}, {"command", strCommand}, {"text", strText}})
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string CJsonReport::Error(const std::string& strCommand, const std::string& strMessage)
{
    return nlohmann::json({{"event", "error"}, {"command", strCommand}, {"message", strMessage}})
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string CJsonReport::Verify(bool bIdentical, const std::string& strReport)
{
    return nlohmann::json({{"event", "verify"}, {"identical", bIdentical}, {"report", strReport}})
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
} // namespace XAN_Xancldb
