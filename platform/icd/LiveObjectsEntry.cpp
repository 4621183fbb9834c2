#include "CCLObject.h"
#include "xan_live_objects.h"

using namespace XAN_Platform;

extern "C" __attribute__((visibility("default"))) size_t xanPlatformCountLiveObjects()
{
    size_t nTotal = 0;
    for (const auto& entry : CCLObject::CountLiveObjects())
    {
        nTotal += entry.second;
    }
    return nTotal;
}
