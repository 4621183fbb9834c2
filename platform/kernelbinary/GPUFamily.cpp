#include "GPUFamily.h"

#include <strings.h>

namespace XAN_Platform
{
bool IsOlderGPUFamily(const std::string& strName)
{
    static const char* const s_Older[] = {"borage", "chervil", "lovage", "hyssop", "mallow",
                                          "teasel", "vetch",   "fennel", "sedge"};
    for (const char* pName : s_Older)
    {
        if (strcasecmp(pName, strName.c_str()) == 0)
        {
            return true;
        }
    }
    return false;
}
} // namespace XAN_Platform
