#include "Modules/QUVDDModule.h"

namespace
{
const char* const s_Names[] = {XAN_QUVDD_FUNCTIONS(XAN_MODULE_SLOT_NAME)};

static_assert(sizeof(s_Names) / sizeof(s_Names[0]) == QUVDDModule::NUM_FUNCTIONS, "3 names");
static_assert(QUVDDModule::NUM_FUNCTIONS == 3, "the table has a pointer per name");
} // namespace

QUVDDModule g_QUVDDModule("liborvquvdd64.so");

QUVDDModule::QUVDDModule(const std::string& strFileName)
    : CompleteLibraryModule<QUVDDFunctionTable>(strFileName, s_Names)
{
}
