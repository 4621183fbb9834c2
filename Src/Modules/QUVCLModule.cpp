#include "Modules/QUVCLModule.h"

namespace
{
const char* const s_Names[] = {XAN_QUVCL_FUNCTIONS(XAN_MODULE_SLOT_NAME)};

static_assert(sizeof(s_Names) / sizeof(s_Names[0]) == QUVCLModule::NUM_FUNCTIONS, "13 names");
static_assert(QUVCLModule::NUM_FUNCTIONS == 13, "the table has a pointer per name");
} // namespace

QUVCLModule g_QUVCLModule("liborvquvcl64.so");

QUVCLModule::QUVCLModule(const std::string& strFileName)
    : CompleteLibraryModule<QUVCLFunctionTable>(strFileName, s_Names)
{
}
