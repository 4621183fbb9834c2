#include "ShaderDebuggerTokenStream.h"

namespace XAN_ShaderDebugger
{
// The IL engine's streams are compiled once here rather than in every user.
template class CInputTokenStream<unsigned int>;
template class COutputTokenStream<unsigned int>;
} // namespace XAN_ShaderDebugger
