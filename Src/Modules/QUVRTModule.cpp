#include "Modules/QUVRTModule.h"

namespace
{
const char* const s_Names[] = {XAN_QUVRT_FUNCTIONS(XAN_MODULE_SLOT_NAME)};

static_assert(sizeof(s_Names) / sizeof(s_Names[0]) == QUVRTModule::NUM_FUNCTIONS, "38 names");
static_assert(QUVRTModule::NUM_FUNCTIONS == 38, "the table has a pointer per name");
} // namespace

QUVRTModule g_QUVRTModule("liborvquvrt64.so");

QUVRTModule::QUVRTModule(const std::string& strFileName)
    : CompleteLibraryModule<QUVRTFunctionTable>(strFileName, s_Names)
{
}
