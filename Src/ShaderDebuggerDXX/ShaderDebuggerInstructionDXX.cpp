#include "ShaderDebuggerDXX/ShaderDebuggerInstructionDXX.h"

#include "ShaderDebuggerBase.h"

#include <boost/format.hpp>

#include <algorithm>
#include <cstring>

namespace XAN_ShaderDebugger
{
namespace
{
// One row of the opcode table.
struct DXXOpCodeInfo
{
    std::uint32_t nOpCode;
    std::uint32_t nShaderMask; // bit 0 pixel, 1 vertex, 2 geometry, 3 hull, 4 domain, 5 compute
    std::uint32_t nCategory;
    bool bIsDeclaration;
    bool bDeclaresInput;
    bool bDeclaresOutput;
    std::uint32_t nDataType;
    std::uint32_t nDestCount;
    std::uint32_t nSrcCount;
    const char* pName;
    const char* pKeywords;
};

// clang-format off
const DXXOpCodeInfo g_OpCodeTable[DXX_OPCODE_COUNT] = {
    {0, 63, 2, false, false, false, 8, 1, 2, "add", "add add_sat"},
    {1, 63, 3, false, false, false, 10, 1, 2, "and", "and"},
    {2, 63, 5, false, false, false, 1, 0, 0, "break", "break"},
    {3, 63, 5, false, false, false, 1, 0, 1, "breakc", "breakc_z breakc_nz"},
    {4, 63, 5, false, false, false, 1, 0, 1, "call", "call"},
    {5, 63, 5, false, false, false, 1, 0, 2, "callc", "callc_z callc_nz"},
    {6, 63, 5, false, false, false, 1, 0, 1, "case", "case"},
    {7, 63, 5, false, false, false, 1, 0, 0, "continue", "continue"},
    {8, 63, 5, false, false, false, 1, 0, 1, "continuec", "continuec_z continuec_nz"},
    {9, 4, 7, false, false, false, 1, 0, 0, "cut", "cut"},
    {10, 63, 5, false, false, false, 1, 0, 0, "default", "default"},
    {11, 1, 2, false, false, false, 8, 1, 1, "deriv_rtx", "deriv_rtx deriv_rtx_sat"},
    {12, 1, 2, false, false, false, 8, 1, 1, "deriv_rty", "deriv_rty deriv_rty_sat"},
    {13, 1, 5, false, false, false, 1, 0, 1, "discard", "discard_z discard_nz"},
    {14, 63, 2, false, false, false, 8, 1, 2, "div", "div div_sat"},
    {15, 63, 2, false, false, false, 8, 1, 2, "dp2", "dp2 dp2_sat"},
    {16, 63, 2, false, false, false, 8, 1, 2, "dp3", "dp3 dp3_sat"},
    {17, 63, 2, false, false, false, 8, 1, 2, "dp4", "dp4 dp4_sat"},
    {18, 63, 5, false, false, false, 1, 0, 0, "else", "else"},
    {19, 4, 7, false, false, false, 1, 0, 0, "emit", "emit"},
    {20, 4, 7, false, false, false, 1, 0, 0, "emitthencut", "emitThenCut"},
    {21, 63, 5, false, false, false, 1, 0, 0, "endif", "endif"},
    {22, 63, 5, false, false, false, 1, 0, 0, "endloop", "endloop"},
    {23, 63, 5, false, false, false, 1, 0, 0, "endswitch", "endswitch"},
    {24, 63, 2, false, false, false, 12, 1, 2, "eq", "eq eq_sat"},
    {25, 63, 2, false, false, false, 8, 1, 1, "exp", "exp exp_sat"},
    {26, 63, 2, false, false, false, 8, 1, 1, "frc", "frc frc_sat"},
    {27, 63, 3, false, false, false, 12, 1, 1, "ftoi", "ftoi"},
    {28, 63, 3, false, false, false, 11, 1, 1, "ftou", "ftou"},
    {29, 63, 2, false, false, false, 12, 1, 2, "ge", "ge ge_sat"},
    {30, 63, 3, false, false, false, 10, 1, 2, "iadd", "iadd"},
    {31, 63, 5, false, false, false, 1, 0, 1, "if", "if_z if_nz "},
    {32, 63, 3, false, false, false, 12, 1, 2, "ieq", "ieq"},
    {33, 63, 3, false, false, false, 12, 1, 2, "ige", "ige"},
    {34, 63, 3, false, false, false, 12, 1, 2, "ilt", "ilt"},
    {35, 63, 3, false, false, false, 12, 1, 3, "imad", "imad"},
    {36, 63, 3, false, false, false, 12, 1, 2, "imax", "imax"},
    {37, 63, 3, false, false, false, 12, 1, 2, "imin", "imin"},
    {38, 63, 3, false, false, false, 12, 2, 2, "imul", "imul"},
    {39, 63, 3, false, false, false, 12, 1, 2, "ine", "ine"},
    {40, 63, 3, false, false, false, 12, 1, 1, "ineg", "ineg"},
    {41, 63, 3, false, false, false, 10, 1, 2, "ishl", "ishl"},
    {42, 63, 3, false, false, false, 10, 1, 2, "ishr", "ishr"},
    {43, 63, 3, false, false, false, 8, 1, 1, "itof", "itof"},
    {44, 63, 5, false, false, false, 1, 0, 1, "label", "label"},
    {45, 63, 6, false, false, false, 2, 1, 2, "ld", "ld ld_aoffimmi ld_indexable"},
    {46, 63, 6, false, false, false, 2, 1, 3, "ld_ms", "ldms ldms_aoffimmi ld2dms ld2dms_aoffimmi ld2dms_o"},
    {47, 63, 2, false, false, false, 8, 1, 1, "log", "log log_sat"},
    {48, 63, 5, false, false, false, 1, 0, 0, "loop", "loop"},
    {49, 63, 2, false, false, false, 12, 1, 2, "lt", "lt lt_sat"},
    {50, 63, 2, false, false, false, 8, 1, 3, "mad", "mad mad_sat"},
    {51, 63, 2, false, false, false, 8, 1, 2, "min", "min min_sat"},
    {52, 63, 2, false, false, false, 8, 1, 2, "max", "max max_sat"},
    {53, 63, 1, false, false, false, 1, 0, 0, "customdata", "dcl_immediateconstantbuffer dcl_immediateConstantBuffer"},
    {54, 63, 2, false, false, false, 4, 1, 1, "mov", "mov mov_sat"},
    {55, 63, 2, false, false, false, 5, 1, 3, "movc", "movc movc_sat"},
    {56, 63, 2, false, false, false, 8, 1, 2, "mul", "mul mul_sat"},
    {57, 63, 2, false, false, false, 12, 1, 2, "ne", "ne ne_sat"},
    {58, 63, 0, false, false, false, 1, 0, 0, "nop", "nop"},
    {59, 63, 3, false, false, false, 10, 1, 1, "not", "not"},
    {60, 63, 3, false, false, false, 10, 1, 2, "or", "or"},
    {61, 63, 9, false, false, false, 3, 1, 2, "resinfo", "resinfo resinfo_uint resinfo_rcpFloat"},
    {62, 63, 5, false, false, false, 1, 0, 0, "ret", "ret"},
    {63, 63, 5, false, false, false, 1, 0, 1, "retc", "retc_z retc_nz"},
    {64, 63, 2, false, false, false, 8, 1, 1, "round_ne", "round_ne round_ne_sat"},
    {65, 63, 2, false, false, false, 8, 1, 1, "round_ni", "round_ni round_ni_sat"},
    {66, 63, 2, false, false, false, 8, 1, 1, "round_pi", "round_pi round_pi_sat"},
    {67, 63, 2, false, false, false, 8, 1, 1, "round_z", "round_z round_z_sat"},
    {68, 63, 2, false, false, false, 8, 1, 1, "rsq", "rsq rsq_sat"},
    {69, 1, 6, false, false, false, 2, 1, 3, "sample", "sample sample_aoffimmi sample_o sample_indexable"},
    {70, 1, 6, false, false, false, 8, 1, 4, "sample_c", "sample_c sample_c_aoffimmi sample_c_o sample_c_indexable"},
    {71, 63, 6, false, false, false, 8, 1, 4, "sample_c_lz", "sample_c_lz sample_c_lz_aoffimmi sample_c_lz_o sample_c_lz_indexable"},
    {72, 63, 6, false, false, false, 2, 1, 4, "sample_l", "sample_l sample_l_aoffimmi sample_l_o sample_l_indexable"},
    {73, 63, 6, false, false, false, 2, 1, 5, "sample_d", "sample_d sample_d_aoffimmi sample_d_o sample_d_indexable"},
    {74, 1, 6, false, false, false, 2, 1, 4, "sample_b", "sample_b sample_b_aoffimmi sample_b_o sample_b_indexable"},
    {75, 63, 2, false, false, false, 8, 1, 1, "sqrt", "sqrt sqrt_sat"},
    {76, 63, 5, false, false, false, 1, 0, 1, "switch", "switch"},
    {77, 63, 2, false, false, false, 8, 2, 1, "sincos", "sincos sincos_sat"},
    {78, 63, 3, false, false, false, 11, 2, 2, "udiv", "udiv"},
    {79, 63, 3, false, false, false, 12, 1, 2, "ult", "ult"},
    {80, 63, 3, false, false, false, 12, 1, 2, "uge", "uge"},
    {81, 63, 3, false, false, false, 11, 2, 2, "umul", "umul"},
    {82, 63, 3, false, false, false, 11, 1, 3, "umad", "umad"},
    {83, 63, 3, false, false, false, 11, 1, 2, "umax", "umax"},
    {84, 63, 3, false, false, false, 11, 1, 2, "umin", "umin"},
    {85, 63, 3, false, false, false, 11, 1, 2, "ushr", "ushr"},
    {86, 63, 3, false, false, false, 8, 1, 1, "utof", "utof"},
    {87, 63, 3, false, false, false, 10, 1, 2, "xor", "xor"},
    {88, 63, 1, true, false, false, 1, 1, 0, "dcl_resource", "dcl_resource_buffer dcl_resource_texture1d dcl_resource_texture1darray dcl_resource_texture2d dcl_resource_texture2dms dcl_resource_texture2darray dcl_resource_texture2darrayms dcl_resource_texture3d dcl_resource_texturecube dcl_resource_texturecubearray"},
    {89, 63, 1, true, false, false, 1, 1, 0, "dcl_constant_buffer", "dcl_constant_buffer"},
    {90, 63, 1, true, false, false, 1, 1, 0, "dcl_sampler", "dcl_sampler"},
    {91, 63, 1, true, false, false, 1, 1, 0, "dcl_index_range", "dcl_index_range"},
    {92, 4, 1, true, false, false, 1, 1, 0, "dcl_gs_output_primitive_topology", "dcl_gs_output_primitive_topology"},
    {93, 4, 1, true, false, false, 1, 1, 0, "dcl_gs_input_primitive", "dcl_gs_input_primitive"},
    {94, 4, 1, true, false, false, 1, 1, 0, "dcl_max_output_vertex_count", "dcl_max_output_vertex_count"},
    {95, 63, 1, true, true, false, 1, 1, 0, "dcl_input", "dcl_input"},
    {96, 63, 1, true, true, false, 1, 1, 0, "dcl_input_sgv", "dcl_input_sgv"},
    {97, 63, 1, true, true, false, 1, 1, 0, "dcl_input_siv", "dcl_input_siv"},
    {98, 63, 1, true, true, false, 1, 1, 0, "dcl_input_ps", "dcl_input_ps"},
    {99, 63, 1, true, true, false, 1, 1, 0, "dcl_input_ps_sgv", "dcl_input_ps_sgv"},
    {100, 63, 1, true, true, false, 1, 1, 0, "dcl_input_ps_siv", "dcl_input_ps_siv"},
    {101, 63, 1, true, false, true, 1, 1, 0, "dcl_output", "dcl_output"},
    {102, 4, 1, true, false, true, 1, 1, 0, "dcl_output_sgv", "dcl_output_sgv"},
    {103, 30, 1, true, false, true, 1, 1, 0, "dcl_output_siv", "dcl_output_siv"},
    {104, 63, 1, true, false, false, 1, 1, 0, "dcl_temps", "dcl_temps"},
    {105, 63, 1, true, false, false, 1, 1, 0, "dcl_indexable_temp", "dcl_indexable_temp"},
    {106, 63, 1, true, false, false, 1, 1, 0, "dcl_global_flags", "dcl_global_flags"},
    {107, 0, 0, false, false, false, 0, 0, 0, "reserved0", ""},
    {108, 1, 6, false, false, false, 8, 1, 3, "lod", "lod"},
    {109, 63, 6, false, false, false, 2, 1, 3, "gather4", "gather4"},
    {110, 63, 9, false, false, false, 8, 1, 2, "sample_pos", "sample_pos"},
    {111, 63, 9, false, false, false, 3, 1, 1, "sample_info", "sample_info"},
    {112, 0, 0, false, false, false, 0, 0, 0, "reserved2", ""},
    {113, 8, 5, false, false, false, 1, 0, 0, "hs_decls", "hs_decls"},
    {114, 8, 5, false, false, false, 1, 0, 0, "hs_control_point_phase", "hs_control_point_phase"},
    {115, 8, 5, false, false, false, 1, 0, 0, "hs_fork_phase", "hs_fork_phase"},
    {116, 8, 5, false, false, false, 1, 0, 0, "hs_join_phase", "hs_join_phase"},
    {117, 4, 7, false, false, false, 0, 0, 1, "emit_stream", "emit_stream"},
    {118, 4, 7, false, false, false, 0, 0, 1, "cut_stream", "cut_stream"},
    {119, 4, 7, false, false, false, 0, 0, 1, "emitthencut_stream", "emitthencut_stream"},
    {120, 63, 5, false, false, false, 1, 0, 3, "fcall", "fcall"},
    {121, 63, 9, false, false, false, 3, 1, 1, "bufinfo", "bufinfo"},
    {122, 1, 2, false, false, false, 8, 1, 1, "deriv_rtx_coarse", "deriv_rtx_coarse deriv_rtx_coarse_sat"},
    {123, 1, 2, false, false, false, 8, 1, 1, "deriv_rtx_fine", "deriv_rtx_fine deriv_rtx_fine_sat"},
    {124, 1, 2, false, false, false, 8, 1, 1, "deriv_rty_coarse", "deriv_rty_coarse deriv_rty_coarse_sat"},
    {125, 1, 2, false, false, false, 8, 1, 1, "deriv_rty_fine", "deriv_rty_fine deriv_rty_fine_sat"},
    {126, 63, 6, false, false, false, 2, 1, 4, "gather4_c", "gather4_c"},
    {127, 63, 6, false, false, false, 2, 1, 4, "gather4_po", "gather4_po"},
    {128, 63, 6, false, false, false, 2, 1, 5, "gather4_po_c", "gather4_po_c"},
    {129, 63, 2, false, false, false, 8, 1, 1, "rcp", "rcp rcp_sat"},
    {130, 63, 2, false, false, false, 7, 1, 1, "f32tof16", "f32tof16 f32tof16_sat"},
    {131, 63, 2, false, false, false, 8, 1, 1, "f16tof32", "f16tof32 f16tof32_sat"},
    {132, 63, 3, false, false, false, 11, 2, 2, "uaddc", "uaddc"},
    {133, 63, 3, false, false, false, 11, 2, 2, "usubb", "usubb"},
    {134, 63, 3, false, false, false, 11, 1, 1, "countbits", "countbits"},
    {135, 63, 3, false, false, false, 11, 1, 1, "firstbit_hi", "firstbit_hi"},
    {136, 63, 3, false, false, false, 11, 1, 1, "firstbit_lo", "firstbit_lo"},
    {137, 63, 3, false, false, false, 11, 1, 1, "firstbit_shi", "firstbit_shi"},
    {138, 63, 3, false, false, false, 11, 1, 3, "ubfe", "ubfe"},
    {139, 63, 3, false, false, false, 12, 1, 3, "ibfe", "ibfe"},
    {140, 63, 3, false, false, false, 11, 1, 4, "bfi", "bfi"},
    {141, 63, 3, false, false, false, 4, 1, 1, "bfrev", "bfrev"},
    {142, 63, 3, false, false, false, 5, 2, 3, "swapc", "swapc"},
    {143, 4, 1, true, false, true, 1, 1, 0, "dcl_stream", "dcl_stream"},
    {144, 63, 1, true, false, false, 1, 1, 0, "dcl_function_body", "dcl_function_body"},
    {145, 63, 1, true, false, false, 1, 1, 65535, "dcl_function_table", "dcl_function_table"},
    {146, 63, 1, false, false, false, 1, 3, 65535, "dcl_interface", "dcl_interface"},
    {147, 63, 1, true, false, false, 1, 0, 0, "dcl_input_control_point_count", "dcl_input_control_point_count"},
    {148, 63, 1, true, false, false, 1, 0, 0, "dcl_output_control_point_count", "dcl_output_control_point_count"},
    {149, 63, 1, true, false, false, 1, 0, 0, "dcl_tessellator_domain", "dcl_tessellator_domain"},
    {150, 63, 1, true, false, false, 1, 0, 0, "dcl_tessellator_partitioning", "dcl_tessellator_partitioning"},
    {151, 63, 1, true, false, false, 1, 0, 0, "dcl_tessellator_output_primitive", "dcl_tessellator_output_primitive"},
    {152, 8, 1, true, false, false, 1, 1, 0, "dcl_hs_max_tessfactor", "dcl_hs_max_tessfactor"},
    {153, 8, 1, true, false, false, 1, 1, 0, "dcl_hs_fork_phase_instance_count", "dcl_hs_fork_phase_instance_count"},
    {154, 8, 1, true, false, false, 1, 1, 0, "dcl_hs_join_phase_instance_count", "dcl_hs_join_phase_instance_count"},
    {155, 32, 1, true, false, false, 1, 3, 0, "dcl_thread_group", "dcl_thread_group"},
    {156, 33, 1, true, false, true, 1, 3, 0, "dcl_uav_typed", "dcl_uav_typed_buffer dcl_uav_typed_texture1d dcl_uav_typed_texture1darray dcl_uav_typed_texture2d dcl_uav_typed_texture2dms dcl_uav_typed_texture2darray dcl_uav_typed_texture2darrayms dcl_uav_typed_texture3d dcl_uav_typed_texturecube dcl_uav_typed_texturecubearray dcl_uav_typed"},
    {157, 32, 1, true, false, true, 1, 1, 0, "dcl_uav_raw", "dcl_uav_raw"},
    {158, 32, 1, true, false, true, 1, 2, 0, "dcl_uav_structured", "dcl_uav_structured"},
    {159, 32, 1, true, false, false, 1, 2, 0, "dcl_tgsm_raw", "dcl_tgsm_raw"},
    {160, 32, 1, true, false, false, 1, 3, 0, "dcl_tgsm_structured", "dcl_tgsm_structured"},
    {161, 63, 1, true, true, false, 1, 1, 0, "dcl_resource_raw", "dcl_resource_raw"},
    {162, 63, 1, true, true, false, 1, 2, 0, "dcl_resource_structured", "dcl_resource_structured"},
    {163, 63, 6, false, false, false, 2, 1, 2, "ld_uav_typed", "ld_uav_typed"},
    {164, 63, 7, false, false, false, 5, 1, 2, "store_uav_typed", "store_uav_typed"},
    {165, 63, 6, false, false, false, 2, 1, 2, "ld_raw", "ld_raw"},
    {166, 32, 7, false, false, false, 5, 1, 2, "store_raw", "store_raw"},
    {167, 63, 6, false, false, false, 2, 1, 3, "ld_structured", "ld_structured"},
    {168, 32, 7, false, false, false, 6, 1, 3, "store_structured", "store_structured"},
    {169, 32, 8, false, false, false, 10, 1, 2, "atomic_and", "atomic_and"},
    {170, 32, 8, false, false, false, 10, 1, 2, "atomic_or", "atomic_or"},
    {171, 32, 8, false, false, false, 10, 1, 2, "atomic_xor", "atomic_xor"},
    {172, 32, 8, false, false, false, 10, 1, 3, "atomic_cmp_store", "atomic_cmp_store"},
    {173, 32, 8, false, false, false, 10, 1, 2, "atomic_iadd", "atomic_iadd"},
    {174, 32, 8, false, false, false, 10, 1, 2, "atomic_imax", "atomic_imax"},
    {175, 32, 8, false, false, false, 10, 1, 2, "atomic_imin", "atomic_imin"},
    {176, 32, 8, false, false, false, 11, 1, 2, "atomic_umax", "atomic_umax"},
    {177, 32, 8, false, false, false, 11, 1, 2, "atomic_umin", "atomic_umin"},
    {178, 32, 8, false, false, false, 11, 1, 1, "imm_atomic_alloc", "imm_atomic_alloc"},
    {179, 32, 8, false, false, false, 11, 1, 1, "imm_atomic_consume", "imm_atomic_consume"},
    {180, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_iadd", "imm_atomic_iadd"},
    {181, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_and", "imm_atomic_and"},
    {182, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_or", "imm_atomic_or"},
    {183, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_xor", "imm_atomic_xor"},
    {184, 32, 8, false, false, false, 6, 1, 3, "imm_atomic_exch", "imm_atomic_exch"},
    {185, 32, 8, false, false, false, 6, 1, 4, "imm_atomic_cmp_exch", "imm_atomic_cmp_exch"},
    {186, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_imax", "imm_atomic_imax"},
    {187, 32, 8, false, false, false, 10, 1, 3, "imm_atomic_imin", "imm_atomic_imin"},
    {188, 32, 8, false, false, false, 11, 1, 3, "imm_atomic_umax", "imm_atomic_umax"},
    {189, 32, 8, false, false, false, 11, 1, 3, "imm_atomic_umin", "imm_atomic_umin"},
    {190, 32, 5, false, false, false, 1, 0, 0, "sync", "sync_g sync_ugroup sync_uglobal sync_g_t sync_ugroup_t sync_uglobal_t sync_ugroup_g sync_uglobal_g sync_ugroup_g_t sync_uglobal_g_t"},
    {191, 63, 4, false, false, false, 9, 1, 2, "dadd", "dadd"},
    {192, 63, 4, false, false, false, 9, 1, 2, "dmax", "dmax"},
    {193, 63, 4, false, false, false, 9, 1, 2, "dmin", "dmin"},
    {194, 63, 4, false, false, false, 9, 1, 2, "dmul", "dmul"},
    {195, 63, 4, false, false, false, 12, 1, 2, "deq", "deq"},
    {196, 63, 4, false, false, false, 12, 1, 2, "dge", "dge"},
    {197, 63, 4, false, false, false, 12, 1, 2, "dlt", "dlt"},
    {198, 63, 4, false, false, false, 12, 1, 2, "dne", "dne"},
    {199, 63, 4, false, false, false, 9, 1, 1, "dmov", "dmov"},
    {200, 63, 4, false, false, false, 9, 1, 3, "dmovc", "dmovc dmov_satc"},
    {201, 63, 4, false, false, false, 8, 1, 1, "dtof", "dtof"},
    {202, 63, 4, false, false, false, 9, 1, 1, "ftod", "ftod"},
    {203, 63, 5, false, false, false, 8, 1, 2, "eval_snapped", "eval_snapped"},
    {204, 63, 5, false, false, false, 8, 1, 2, "eval_sample_index", "eval_sample_index"},
    {205, 63, 5, false, false, false, 8, 1, 1, "eval_centroid", "eval_centroid"},
    {206, 4, 1, true, false, false, 1, 1, 0, "dcl_gs_instance_count", "dcl_gs_instance_count"},
    {207, 0, 0, false, false, false, 0, 0, 0, "reserved3", ""},
};
// clang-format on

const DXXOpCodeInfo* FindOpCode(std::uint32_t nOpCode)
{
    for (const DXXOpCodeInfo& info : g_OpCodeTable)
    {
        if (info.nOpCode == nOpCode)
        {
            return &info;
        }
    }
    return NULL;
}

// A column of an opcode's row, or the value of an opcode without one.
template <class T> T Column(std::uint32_t nOpCode, T DXXOpCodeInfo::*pColumn, T none)
{
    const DXXOpCodeInfo* pInfo = FindOpCode(nOpCode);
    return pInfo != NULL ? pInfo->*pColumn : none;
}

const std::uint32_t OPCODE_TOKEN_EXTENDED = 0x80000000u;
const std::uint32_t OPCODE_DCL_OUTPUT_SIV = 103;
const std::uint32_t OPCODE_FCALL = 120;
const std::uint32_t OPCODE_RESINFO = 61;
const std::uint32_t OPCODE_BUFINFO = 121;
const std::uint32_t OPCODE_SAMPLE_INFO = 111;
const std::uint32_t OPCODE_DCL_FUNCTION_TABLE = 145;
const std::uint32_t OPCODE_DCL_INTERFACE = 146;
const std::uint32_t DATA_TYPE_BY_RETURN_TYPE = 3;

std::uint32_t GetOperandType(std::uint32_t dwToken)
{
    return (dwToken >> 12) & 0xFF;
}
std::uint32_t GetIndexDimensions(std::uint32_t dwToken)
{
    return (dwToken >> 20) & 3;
}

// The types that stand in a single token, without a number.
bool IsShortForm(RegisterType type)
{
    return type == RT_oDepth || type == RT_oMask || type == RT_Null;
}

std::uint32_t WithLength(std::uint32_t dwToken0, std::uint32_t nLength)
{
    return (dwToken0 & ~(0x7Fu << 24)) | ((nLength & 0x7F) << 24);
}

const char* const g_FixedKeywords =
    "constant linear centroid linearCentroid linearNoperspective linearNoperspectiveCentroid "
    "dynamicIndexed immediateIndexed mode_default float noperspective position refactoringAllowed "
    " ClipDistance CullDistance Coverage Depth IsFrontFace Position RenderTargetArrayIndex "
    "SampleIndex Target ViewportArrayIndex InstanceID PrimitiveID VertexID Buffer Texture1D "
    "Texture1DArray Texture2D Texture2DArray Texture3D TextureCube Texture2DMS Texture2DMSArray "
    "TextureCubeArray buffer texture1d texture1darray texture2d texture2darray texture3d "
    "texturecube texture2dms texture2dmsarray texturecubearray UNORM SNORM SINT UINT FLOAT unorm "
    "snorm sint uint float default mode_default comparison mode_comparison mono mode_mono ";

// Stage words by ST_* value.
const char* StageKeywords(std::uint32_t nShaderType)
{
    switch (nShaderType)
    {
    case ST_Pixel:
        return "ps_4_0 ps_4_1 ps_5_0 dcl_input_ps dcl_input_primitiveID dcl_input_isFrontFace "
               "dcl_input_clipDistance  dcl_input_cullDistance dcl_input_position "
               "dcl_input_renderTargetArrayIndex  dcl_input_viewportArrayIndex ";
    case ST_Vertex:
        return "vs_4_0 vs_4_1 vs_5_0 dcl_input_vertexID dcl_input_instanceID instance_id ";
    case ST_Geometry:
        return "gs_4_0 gs_4_1 gs_5_0 dcl_input_primitiveID dcl_output_primitiveID "
               "dcl_output_isFrontFace dcl_maxout rendertarget_array_index ";
    case ST_Hull:
        return "hs_5_0 ";
    case ST_Domain:
        return "ds_5_0 ";
    case ST_Compute:
        return "cs_4_0 cs_4_1 cs_5_0 ";
    default:
        return "";
    }
}

// The bit of a stage in the table's shader masks.
std::uint32_t StageBit(std::uint32_t nShaderType)
{
    switch (nShaderType)
    {
    case ST_Pixel:
        return 1;
    case ST_Vertex:
        return 2;
    case ST_Geometry:
        return 4;
    case ST_Hull:
        return 8;
    case ST_Domain:
        return 16;
    case ST_Compute:
        return 32;
    default:
        return 0;
    }
}

void AppendNumbered(std::string& strList, const char* pPrefix,
                    const std::vector<std::uint32_t>& vNumbers)
{
    for (std::uint32_t nNumber : vNumbers)
    {
        strList += (boost::format("%s%i ") % pPrefix % nNumber).str();
    }
}
} // namespace

std::uint32_t GetOpCodeShaderMask(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::nShaderMask, 0u);
}

std::uint32_t GetOpCodeCategory(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::nCategory, 0u);
}

bool IsDeclaration(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::bIsDeclaration, false);
}

bool IsInputDeclaration(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::bDeclaresInput, false);
}

bool IsOutputDeclaration(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::bDeclaresOutput, false);
}

std::uint32_t GetOpCodeDataType(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::nDataType, 0u);
}

std::uint32_t GetOpCodeDestRegCount(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::nDestCount, 0u);
}

std::uint32_t GetOpCodeSrcRegCount(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::nSrcCount, 0u);
}

const char* GetOpCodeName(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::pName, static_cast<const char*>("Unknown OpCode"));
}

const char* GetOpCodeKeywords(std::uint32_t nOpCode)
{
    return Column(nOpCode, &DXXOpCodeInfo::pKeywords, static_cast<const char*>(""));
}

bool IsFlowControl(std::uint32_t nOpCode)
{
    static const std::uint32_t s_FlowOpCodes[] = {2,  3,  4,  5,  6,  7,  8,  10, 18,
                                                  21, 22, 23, 31, 44, 48, 62, 63, 76};
    return std::find(std::begin(s_FlowOpCodes), std::end(s_FlowOpCodes), nOpCode) !=
           std::end(s_FlowOpCodes);
}

bool IsExecutable(std::uint32_t nOpCode)
{
    // label, customdata and the hull shader's phase markers
    static const std::uint32_t s_Markers[] = {44, 53, 113, 114, 115, 116};
    return !IsDeclaration(nOpCode) &&
           std::find(std::begin(s_Markers), std::end(s_Markers), nOpCode) == std::end(s_Markers);
}

bool IsUAVDeclaration(std::uint32_t nOpCode)
{
    return nOpCode >= 156 && nOpCode <= 158;
}

bool IsUAVBinding(std::uint32_t nBindingType)
{
    return nBindingType >= 4 && nBindingType < 12;
}

std::uint32_t GetComponentCount(std::uint32_t nComponentForm)
{
    return nComponentForm == 1 ? 1 : nComponentForm == 2 ? 4 : 0;
}

std::uint32_t ReturnTypeToDataType(std::uint32_t nReturnType)
{
    return nReturnType == 3 ? 12 : nReturnType == 4 ? 11 : 8;
}

RegisterType OperandTypeToRegisterType(std::uint32_t nOperandType)
{
    switch (nOperandType)
    {
    case 0:
        return RT_Temp;
    case 1:
        return RT_Input;
    case 2:
        return RT_Output;
    case 3:
        return RT_IndexableTemp;
    case 4:
    case 5:
        return RT_Immediate;
    case 6:
        return RT_Sampler;
    case 7:
        return RT_Resource;
    case 8:
    case 9:
        return RT_ConstantBuffer;
    case 12:
        return RT_oDepth;
    case 13:
        return RT_Null;
    case 15:
        return RT_oMask;
    case 32:
        return RT_vAbsTid;
    case 33:
        return RT_vThreadGrpId;
    case 34:
        return RT_vTidInGrp;
    case 36:
        return RT_vTidInGrpFlat;
    default:
        return RT_Unknown;
    }
}

std::uint32_t RegisterTypeToOperandType(RegisterType type)
{
    switch (type)
    {
    case RT_Temp:
        return 0;
    case RT_Input:
        return 1;
    case RT_Output:
        return 2;
    case RT_Sampler:
        return 6;
    case RT_Resource:
        return 7;
    case RT_ConstantBuffer:
        return 8;
    case RT_oDepth:
        return 12;
    case RT_oMask:
        return 15;
    case RT_vAbsTid:
        return 32;
    case RT_vThreadGrpId:
        return 33;
    case RT_vTidInGrp:
        return 34;
    case RT_vTidInGrpFlat:
        return 36;
    default:
        return DXX_OPERAND_NULL;
    }
}

bool IsOutputRegister(RegisterType type)
{
    return type == RT_Output || type == RT_oDepth || type == RT_oMask;
}

std::uint32_t EncodeOperand(std::uint32_t nOperandType, std::uint32_t maskBits)
{
    if (nOperandType == DXX_OPERAND_NULL)
    {
        return DXX_OPERAND_NULL << 12;
    }
    return (nOperandType << 12) | (1u << 20) | maskBits | (maskBits != 0 ? 2u : 0u);
}

std::uint32_t GetOperandLength(const std::uint32_t* pOperand, std::uint32_t nAvailable)
{
    if (pOperand == NULL || nAvailable == 0)
    {
        return 0;
    }
    const std::uint32_t dwToken = pOperand[0];
    std::uint32_t nLength = 1;
    const std::uint32_t nType = GetOperandType(dwToken);
    if (nType == 4)
    {
        nLength += GetComponentCount(dwToken & 3);
    }
    else if (nType == 5)
    {
        nLength += 2 * GetComponentCount(dwToken & 3);
    }
    if ((dwToken & OPCODE_TOKEN_EXTENDED) != 0)
    {
        ++nLength;
    }
    for (std::uint32_t nDim = 0; nDim < GetIndexDimensions(dwToken); ++nDim)
    {
        // Representations are 3-bit fields; 4 is a 64-bit immediate plus a relative operand.
        const std::uint32_t nRep = (dwToken >> (22 + 3 * nDim)) & 7;
        if (nRep > 4)
        {
            return 0;
        }
        nLength += nRep == 0 ? 1 : nRep == 1 ? 2 : nRep == 3 ? 1 : nRep == 4 ? 2 : 0;
        if (nRep >= 2)
        {
            const std::uint32_t nRelative =
                nLength < nAvailable ? GetOperandLength(pOperand + nLength, nAvailable - nLength)
                                     : 0;
            if (nRelative == 0)
            {
                return 0;
            }
            nLength += nRelative;
        }
    }
    return nLength <= nAvailable ? nLength : 0;
}

CShaderDebuggerInstructionDXX::CShaderDebuggerInstructionDXX(CShaderDebuggerBase* pDebugger)
    : m_nOpCode(107), m_dwTokens(new std::uint32_t[MAX_DXX_INSTRUCTION_TOKENS]()), m_nLength(0),
      m_nReadTokens(0), m_dwDestRegOffset(), m_dwSrcRegOffset(), m_pDebugger(pDebugger),
      m_nCapacity(MAX_DXX_INSTRUCTION_TOKENS)
{
}

CShaderDebuggerInstructionDXX::CShaderDebuggerInstructionDXX(
    const CShaderDebuggerInstructionDXX& other)
    : m_nOpCode(107), m_dwTokens(NULL), m_nLength(0), m_nReadTokens(0), m_dwDestRegOffset(),
      m_dwSrcRegOffset(), m_pDebugger(other.m_pDebugger), m_nCapacity(0)
{
    CopyFrom(other);
}

CShaderDebuggerInstructionDXX&
CShaderDebuggerInstructionDXX::operator=(const CShaderDebuggerInstructionDXX& other)
{
    if (this != &other)
    {
        CopyFrom(other);
    }
    return *this;
}

CShaderDebuggerInstructionDXX::~CShaderDebuggerInstructionDXX()
{
    delete[] m_dwTokens;
}

void CShaderDebuggerInstructionDXX::CopyFrom(const CShaderDebuggerInstructionDXX& other)
{
    // A copied customdata block keeps all its tokens.
    const std::uint32_t nNeeded =
        std::max(MAX_DXX_INSTRUCTION_TOKENS, static_cast<std::uint32_t>(other.m_nLength));
    if (m_dwTokens == NULL || m_nCapacity < nNeeded)
    {
        delete[] m_dwTokens;
        m_dwTokens = new std::uint32_t[nNeeded]();
        m_nCapacity = nNeeded;
    }
    std::memcpy(m_dwTokens, other.m_dwTokens, other.m_nLength * sizeof(std::uint32_t));
    m_nOpCode = other.m_nOpCode;
    m_nLength = other.m_nLength;
    m_nReadTokens = other.m_nReadTokens;
    std::copy(std::begin(other.m_dwDestRegOffset), std::end(other.m_dwDestRegOffset),
              m_dwDestRegOffset);
    std::copy(std::begin(other.m_dwSrcRegOffset), std::end(other.m_dwSrcRegOffset),
              m_dwSrcRegOffset);
    m_pDebugger = other.m_pDebugger;
}

CShaderDebuggerHost* CShaderDebuggerInstructionDXX::GetHost() const
{
    return m_pDebugger != NULL ? m_pDebugger->GetHost() : NULL;
}

bool CShaderDebuggerInstructionDXX::ReadInstruction(CInputTokenStream<std::uint32_t>& stream)
{
    m_nReadTokens = 0;
    m_nLength = 0;
    std::fill(std::begin(m_dwDestRegOffset), std::end(m_dwDestRegOffset), 0);
    std::fill(std::begin(m_dwSrcRegOffset), std::end(m_dwSrcRegOffset), 0);
    if (!stream.ReadToken(m_dwTokens[0]))
    {
        return false;
    }
    m_nOpCode = m_dwTokens[0] & 0x7FF;
    std::uint32_t dwOpcodeTokenLen = 1;
    m_dwDestRegOffset[0] = 1;
    while ((m_dwTokens[dwOpcodeTokenLen - 1] & OPCODE_TOKEN_EXTENDED) != 0)
    {
        const bool bRead =
            dwOpcodeTokenLen < m_nCapacity && stream.ReadToken(m_dwTokens[dwOpcodeTokenLen]);
        SDU_Assert(GetHost(), bRead);
        if (!bRead)
        {
            return false;
        }
        ++dwOpcodeTokenLen;
        ++m_dwDestRegOffset[0];
    }
    const size_t nLeft = stream.GetTokenCount() - stream.GetTokensRead();
    if (m_nOpCode == DXX_OPCODE_CUSTOMDATA)
    {
        // The block's length counts its opcode and length tokens; a length that the stream
        // can't hold is refused before anything is allocated for it.
        std::uint32_t dwLength = 0;
        if (!stream.PeekToken(dwLength) || dwLength < dwOpcodeTokenLen + 1 ||
            dwLength - dwOpcodeTokenLen > nLeft || dwLength > 0x7FFFFFFFu)
        {
            return false;
        }
        stream.ReadToken(m_dwTokens[dwOpcodeTokenLen]);
        m_nLength = static_cast<std::int32_t>(dwLength);
        m_nReadTokens = dwOpcodeTokenLen + 1;
        if (dwLength > m_nCapacity)
        {
            std::uint32_t* pTokens = new std::uint32_t[dwLength + MAX_DXX_INSTRUCTION_TOKENS]();
            std::memcpy(pTokens, m_dwTokens, m_nCapacity * sizeof(std::uint32_t));
            delete[] m_dwTokens;
            m_dwTokens = pTokens;
            m_nCapacity = dwLength + MAX_DXX_INSTRUCTION_TOKENS;
        }
    }
    else
    {
        m_nLength = static_cast<std::int32_t>((m_dwTokens[0] >> 24) & 0x7F);
        m_nReadTokens = dwOpcodeTokenLen;
        if (static_cast<std::uint32_t>(m_nLength) < dwOpcodeTokenLen ||
            m_nLength - dwOpcodeTokenLen > nLeft)
        {
            m_nLength = 0;
            return false;
        }
    }
    const std::uint32_t nRest = static_cast<std::uint32_t>(m_nLength) - m_nReadTokens;
    if (nRest > 0 && !stream.ReadTokens(m_dwTokens + m_nReadTokens, nRest))
    {
        return false;
    }

    // Where the sources begin depends on whether the destinations decode.
    const std::uint32_t nDestCount = GetOpCodeDestRegCount(m_nOpCode);
    const std::uint32_t nLength = static_cast<std::uint32_t>(m_nLength);
    auto OperandEnd = [this, nLength](std::uint32_t dwOffset)
    {
        return dwOffset < nLength
                   ? dwOffset + GetOperandLength(m_dwTokens + dwOffset, nLength - dwOffset)
                   : dwOffset;
    };
    // The null register stands in a destination's place without being one (imul null, ...).
    Register reg;
    const bool bDecodes = DecodeDestRegister(m_dwDestRegOffset[0], reg) && reg.reg.type != RT_Null;
    std::uint32_t dwSrcRegOffset = m_dwDestRegOffset[0];
    if (nDestCount == 2)
    {
        m_dwDestRegOffset[1] = OperandEnd(m_dwDestRegOffset[0]);
        dwSrcRegOffset = OperandEnd(m_dwDestRegOffset[1]);
    }
    else if (nDestCount != 0)
    {
        dwSrcRegOffset = OperandEnd(m_dwDestRegOffset[0]);
    }
    // An operand that the table gives no destination isn't one, even where it would decode.
    if (!bDecodes || nDestCount == 0)
    {
        m_dwDestRegOffset[0] = 0;
    }

    if (m_nOpCode != OPCODE_DCL_FUNCTION_TABLE && m_nOpCode != OPCODE_DCL_INTERFACE &&
        m_nOpCode != OPCODE_FCALL)
    {
        SDU_Assert(GetHost(), GetSrcRegCount() <= MAX_SRC_REG_COUNT);
        const std::uint32_t nSources = std::min(MAX_SRC_REG_COUNT, GetSrcRegCount());
        for (std::uint32_t nSrc = 0; nSrc < nSources; ++nSrc)
        {
            SDU_Assert(GetHost(), dwSrcRegOffset < nLength);
            if (dwSrcRegOffset >= nLength)
            {
                break;
            }
            m_dwSrcRegOffset[nSrc] = dwSrcRegOffset;
            dwSrcRegOffset = OperandEnd(dwSrcRegOffset);
        }
    }
    return true;
}

bool CShaderDebuggerInstructionDXX::WriteInstruction(
    COutputTokenStream<std::uint32_t>& stream) const
{
    if (m_nLength <= 0)
    {
        return false;
    }
    return stream.WriteTokens(m_dwTokens, static_cast<size_t>(m_nLength));
}

bool CShaderDebuggerInstructionDXX::ReadToken(std::uint32_t& dwToken)
{
    SDU_Assert(GetHost(), m_nReadTokens <= static_cast<std::uint32_t>(m_nLength));
    if (m_nReadTokens >= static_cast<std::uint32_t>(m_nLength))
    {
        return false;
    }
    dwToken = m_dwTokens[m_nReadTokens++];
    return true;
}

RegisterType CShaderDebuggerInstructionDXX::OperandTypeAt(std::uint32_t dwOffset) const
{
    return dwOffset != 0 && dwOffset < static_cast<std::uint32_t>(m_nLength)
               ? OperandTypeToRegisterType(GetOperandType(m_dwTokens[dwOffset]))
               : RT_Unknown;
}

int CShaderDebuggerInstructionDXX::FirstIndex(std::uint32_t dwOffset) const
{
    // The number is the first index, behind the extended token; an operand without an index
    // dimension has none.
    const std::uint32_t dwToken = m_dwTokens[dwOffset];
    const std::uint32_t dwNumber = dwOffset + 1 + ((dwToken & OPCODE_TOKEN_EXTENDED) ? 1 : 0);
    return GetIndexDimensions(dwToken) > 0 && dwNumber < static_cast<std::uint32_t>(m_nLength)
               ? static_cast<int>(m_dwTokens[dwNumber])
               : 0;
}

bool CShaderDebuggerInstructionDXX::DecodeDestRegister(std::uint32_t dwOffset, Register& reg) const
{
    const RegisterType type = OperandTypeAt(dwOffset);
    if (type == RT_Unknown)
    {
        return false;
    }
    const std::uint32_t dwToken = m_dwTokens[dwOffset];
    unsigned short nMask = 1;
    int nNumber = 0;
    if (type != RT_oDepth && type != RT_oMask && type != RT_vTidInGrpFlat)
    {
        nMask = static_cast<unsigned short>((dwToken >> 4) & 0xF);
        nNumber = FirstIndex(dwOffset);
    }
    if (type == RT_Null)
    {
        reg = Register(RegisterID(RT_Null, 0, 0, NULL), nMask);
        return true;
    }
    if (nMask == 0)
    {
        return false;
    }
    reg = Register(RegisterID(type, nNumber, 0, NULL), nMask);
    return true;
}

bool CShaderDebuggerInstructionDXX::GetDestRegister(Register& reg) const
{
    return GetOpCodeDestRegCount(m_nOpCode) != 0 && m_dwDestRegOffset[0] != 0 &&
           DecodeDestRegister(m_dwDestRegOffset[0], reg);
}

Register CShaderDebuggerInstructionDXX::GetDestRegister() const
{
    Register reg;
    if (!GetDestRegister(reg))
    {
        SDU_Assert(GetHost(), GetDestRegister(reg));
        return Register();
    }
    return reg;
}

bool CShaderDebuggerInstructionDXX::GetDestRegister2(Register& reg) const
{
    return GetOpCodeDestRegCount(m_nOpCode) == 2 && DecodeDestRegister(m_dwDestRegOffset[1], reg);
}

Register CShaderDebuggerInstructionDXX::GetDestRegister2() const
{
    Register reg;
    if (!GetDestRegister2(reg))
    {
        SDU_Assert(GetHost(), GetDestRegister2(reg));
        return Register();
    }
    return reg;
}

bool CShaderDebuggerInstructionDXX::HasDestRegister() const
{
    Register reg;
    return GetDestRegister(reg);
}

bool CShaderDebuggerInstructionDXX::HasDestRegister2() const
{
    Register reg;
    return GetDestRegister2(reg);
}

std::uint32_t CShaderDebuggerInstructionDXX::GetDestRegCount() const
{
    return (HasDestRegister() ? 1 : 0) + (HasDestRegister2() ? 1 : 0);
}

bool CShaderDebuggerInstructionDXX::SetDestRegister(const RegisterID& reg, unsigned short nMask)
{
    return ReplaceDestRegister(m_dwDestRegOffset[0], reg, nMask);
}

bool CShaderDebuggerInstructionDXX::SetDestRegister2(const RegisterID& reg, unsigned short nMask)
{
    return GetOpCodeDestRegCount(m_nOpCode) == 2 &&
           ReplaceDestRegister(m_dwDestRegOffset[1], reg, nMask);
}

bool CShaderDebuggerInstructionDXX::ReplaceDestRegister(std::uint32_t dwOffset,
                                                        const RegisterID& reg, unsigned short nMask)
{
    if (dwOffset == 0 || dwOffset >= static_cast<std::uint32_t>(m_nLength))
    {
        return false;
    }
    const bool bOldShort =
        IsShortForm(OperandTypeToRegisterType(GetOperandType(m_dwTokens[dwOffset])));
    const bool bNewShort = IsShortForm(reg.type);
    const std::uint32_t nLength = static_cast<std::uint32_t>(m_nLength);
    if (bOldShort != bNewShort)
    {
        // The number word behind the operand token comes or goes; whatever stands behind it
        // moves, and so do the places that point there.
        if (!bNewShort && nLength >= MAX_DXX_INSTRUCTION_TOKENS)
        {
            return false;
        }
        if (bNewShort && dwOffset + 1 >= nLength)
        {
            return false;
        }
        const std::uint32_t nMoved = nLength - dwOffset - (bNewShort ? 2 : 1);
        std::uint32_t* pFrom = m_dwTokens + dwOffset + (bNewShort ? 2 : 1);
        std::uint32_t* pTo = m_dwTokens + dwOffset + (bNewShort ? 1 : 2);
        std::memmove(pTo, pFrom, nMoved * sizeof(std::uint32_t));
        const std::uint32_t nDelta = bNewShort ? static_cast<std::uint32_t>(-1) : 1;
        if (m_dwDestRegOffset[1] != 0 && m_dwDestRegOffset[1] != dwOffset)
        {
            m_dwDestRegOffset[1] += nDelta;
        }
        const std::uint32_t nSources = std::min(MAX_SRC_REG_COUNT, GetSrcRegCount());
        for (std::uint32_t nSrc = 0; nSrc < nSources; ++nSrc)
        {
            if (m_dwSrcRegOffset[nSrc] != 0)
            {
                m_dwSrcRegOffset[nSrc] += nDelta;
            }
        }
        m_nLength += bNewShort ? -1 : 1;
        m_dwTokens[0] = WithLength(m_dwTokens[0], static_cast<std::uint32_t>(m_nLength));
    }
    m_dwTokens[dwOffset] =
        EncodeOperand(RegisterTypeToOperandType(reg.type), static_cast<std::uint32_t>(nMask) << 4);
    if (!bNewShort)
    {
        m_dwTokens[dwOffset + 1] = static_cast<std::uint32_t>(reg.number);
    }
    return true;
}

std::uint32_t CShaderDebuggerInstructionDXX::GetSrcRegCount() const
{
    return GetOpCodeSrcRegCount(m_nOpCode);
}

bool CShaderDebuggerInstructionDXX::GetSrcRegister(std::uint32_t dwSrcReg, Register& reg) const
{
    reg = g_Reg_NULL;
    if (dwSrcReg >= GetSrcRegCount())
    {
        SDU_Assert(GetHost(), dwSrcReg < GetSrcRegCount());
        return false;
    }
    const std::uint32_t dwOffset = dwSrcReg < MAX_SRC_REG_COUNT ? m_dwSrcRegOffset[dwSrcReg] : 0;
    const RegisterType type = OperandTypeAt(dwOffset);
    if (type == RT_Unknown)
    {
        return false;
    }
    const std::uint32_t dwToken = m_dwTokens[dwOffset];
    const std::uint32_t nForm = dwToken & 3;
    if (type == RT_Immediate)
    {
        reg.mask = nForm == 2 ? COMP_All : COMP_x;
        return true;
    }
    unsigned short nMask = 0;
    if (nForm == 1)
    {
        nMask = COMP_x;
    }
    else if (nForm == 3)
    {
        return false;
    }
    else if (nForm == 2)
    {
        const std::uint32_t nSelect = (dwToken >> 4) & 0xFF;
        switch ((dwToken >> 2) & 3)
        {
        case 0:
            nMask = static_cast<unsigned short>(nSelect & 0xF);
            if (nMask == 0)
            {
                return false;
            }
            break;
        case 1:
            for (std::uint32_t n = 0; n < 4; ++n)
            {
                nMask |= static_cast<unsigned short>(1u << ((nSelect >> (2 * n)) & 3));
            }
            break;
        case 2:
            nMask = static_cast<unsigned short>(1u << (nSelect & 3));
            break;
        default:
            return false;
        }
    }
    reg = Register(RegisterID(type, FirstIndex(dwOffset), 0, NULL), nMask);
    return true;
}

Register CShaderDebuggerInstructionDXX::GetSrcRegister(std::uint32_t dwSrcReg) const
{
    Register reg;
    if (!GetSrcRegister(dwSrcReg, reg))
    {
        SDU_Assert(GetHost(), GetSrcRegister(dwSrcReg, reg));
    }
    return reg;
}

bool CShaderDebuggerInstructionDXX::WritesRegister(const RegisterID& reg) const
{
    Register dest;
    return (GetDestRegister(dest) && dest.reg == reg) ||
           (GetDestRegister2(dest) && dest.reg == reg);
}

std::uint32_t CShaderDebuggerInstructionDXX::GetOutputSystemValue() const
{
    return m_nOpCode == OPCODE_DCL_OUTPUT_SIV && m_nLength == 4 ? m_dwTokens[3] & 0xFFFF : 0;
}

std::uint32_t CShaderDebuggerInstructionDXX::GetDataType(std::uint32_t dwOpcodeToken)
{
    const std::uint32_t nOpCode = dwOpcodeToken & 0x7FF;
    const std::uint32_t nDataType = GetOpCodeDataType(nOpCode);
    if (nDataType != DATA_TYPE_BY_RETURN_TYPE)
    {
        return nDataType;
    }
    const std::uint32_t nReturnType = (dwOpcodeToken >> 11) & 3;
    if (nOpCode == OPCODE_SAMPLE_INFO)
    {
        return nReturnType == 1 ? 11 : 8;
    }
    return (nOpCode == OPCODE_RESINFO || nOpCode == OPCODE_BUFINFO) && nReturnType == 2 ? 11 : 8;
}

std::vector<std::string> GetShaderKeywordsDXX(std::uint32_t nShaderType,
                                              std::uint32_t nVersionMajor,
                                              const DXXDeclaredRegisters& registers)
{
    std::vector<std::string> vLists(5);
    vLists[0] = std::string(g_FixedKeywords) + StageKeywords(nShaderType);
    const std::uint32_t nStageBit = StageBit(nShaderType);
    for (const DXXOpCodeInfo& info : g_OpCodeTable)
    {
        if ((info.nShaderMask & nStageBit) == 0)
        {
            continue;
        }
        size_t nList = 0;
        switch (info.nCategory)
        {
        case DXX_CAT_LOAD:
        case DXX_CAT_STORE:
            nList = 1;
            break;
        case DXX_CAT_INTEGER:
        case DXX_CAT_ATOMIC:
            nList = 2;
            break;
        case DXX_CAT_DOUBLE:
            nList = 3;
            break;
        default:
            break;
        }
        vLists[nList] += std::string(info.pKeywords) + " ";
    }
    std::string& strRegisters = vLists[4];
    for (std::uint32_t nTemp = 0; nTemp < registers.nTemps; ++nTemp)
    {
        strRegisters += (boost::format("r%i ") % nTemp).str();
    }
    for (std::uint32_t nBuffer = 0; nBuffer < registers.nImmediateConstantBuffers; ++nBuffer)
    {
        strRegisters += (boost::format("icb%i ") % nBuffer).str();
    }
    strRegisters += "null l icb ";
    if (nVersionMajor >= 5)
    {
        strRegisters += "this ";
    }
    if (nShaderType == ST_Compute)
    {
        strRegisters += "vThreadID vThreadGroupID vThreadIDInGroupFlattened vThreadIDInGroup ";
    }
    AppendNumbered(strRegisters, "cb", registers.vConstantBuffers);
    AppendNumbered(strRegisters, "s", registers.vSamplers);
    AppendNumbered(strRegisters, "t", registers.vResources);
    AppendNumbered(strRegisters, "u", registers.vUAVs);
    AppendNumbered(strRegisters, "g", registers.vGroupShared);
    AppendNumbered(strRegisters, "v", registers.vInputs);
    AppendNumbered(strRegisters, "o", registers.vOutputs);
    AppendNumbered(strRegisters, "x", registers.vIndexableTemps);
    if (registers.bDepth)
    {
        strRegisters += "oDepth ";
    }
    if (registers.bCoverageMask)
    {
        strRegisters += "oMask ";
    }
    return vLists;
}
} // namespace XAN_ShaderDebugger
