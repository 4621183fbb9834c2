#include "Modules/DNKModule.h"

namespace
{
const char* const s_Names[] = {XAN_DNK_FUNCTIONS(XAN_MODULE_SLOT_NAME)};

static_assert(sizeof(s_Names) / sizeof(s_Names[0]) == DNKModule::NUM_FUNCTIONS, "19 names");
static_assert(DNKModule::NUM_FUNCTIONS == 19, "the table has a pointer per name");
} // namespace

DNKModule g_DNKModule("libxanocl12cl64.so");

DNKModule::DNKModule(const std::string& strFileName)
    : DNKFunctionTable(),
      LibraryModule(strFileName, s_Names, NUM_FUNCTIONS, static_cast<DNKFunctionTable*>(this))
{
    LoadModule(strFileName);
}

bool DNKModule::LoadModule(const std::string& strFileName)
{
    bool bOpened = BindLibrary(strFileName);
    for (const std::string& strFallback : GetFallbackNames())
    {
        if (bOpened)
        {
            break;
        }
        bOpened = BindLibrary(strFallback);
    }
    SetLoaded(dnkCompilerInit != NULL);
    return IsLoaded();
}

const std::vector<std::string>& DNKModule::GetFallbackNames()
{
    static const std::vector<std::string> s_vNames = {"libxanocl12cl64.so", "libxanoclcl64.so",
                                                      "libxanocl64.so", "libxanhsacl64.so"};
    return s_vNames;
}
