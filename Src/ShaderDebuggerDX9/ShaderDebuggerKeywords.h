#ifndef SHADER_DEBUGGER_KEYWORDS_H
#define SHADER_DEBUGGER_KEYWORDS_H

#include <cstdint>
#include <string>
#include <vector>

namespace XAN_ShaderDebugger
{
// Keyword classes of a highlighting editor.
enum : std::uint32_t
{
    KC_Keyword = 1,
    KC_Texture = 4,
    KC_Function = 6,
    KC_Register = 7,
    KC_Type = 8,
    KC_Semantic = 9,
    KC_Variable = 10,
    KC_Reserved = 11
};

// One entry of a keyword list: the class number, a blank, then the words, each behind a blank.
std::string MakeKeywordEntry(std::uint32_t nClass, const std::string& strWords);

// The five HLSL lists: keywords, types, semantics, reserved words and intrinsics.
void AppendHLSLKeywords(std::vector<std::string>& vKeywords);

// The instruction and register words of a DX9 shader model; false for a version that no table
// row knows.
bool AppendDX9AsmKeywords(std::vector<std::string>& vKeywords, std::uint32_t nShaderToken,
                          std::uint32_t nVersionToken);
} // namespace XAN_ShaderDebugger

#endif
