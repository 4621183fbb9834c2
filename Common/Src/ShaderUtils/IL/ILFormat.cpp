#include "ShaderUtils/IL/ILFormat.h"

#include <array>
#include <unordered_map>

namespace ShaderUtils
{
const ILOpCodeDesc g_ILMainOpCodeTable[] = {
    {"none", IL_OP_UNKNOWN, 0},
    {"bufinfo", IL_OP_BUFINFO, 1001},
    {"sampleinfo", IL_OP_SAMPLEINFO, 1001},
    {"load", IL_OP_LOAD, 1002},
    {"load_fptr", IL_OP_LOAD_FPTR, 1002},
    {"getlod", IL_OP_GETLOD, 1002},
    {"resinfo", IL_OP_RESINFO, 1002},
    {"samplepos", IL_OP_SAMPLEPOS, 1002},
    {"sample", IL_OP_SAMPLE, 1002},
    {"fetch4", IL_OP_FETCH4, 1002},
    {"flat_load", IL_OP_FLAT_LOAD, 1002},
    {"sample_b", IL_OP_SAMPLE_B, 1003},
    {"fetch4po", IL_OP_FETCH4PO, 1003},
    {"fetch4c", IL_OP_FETCH4C, 1003},
    {"sample_l", IL_OP_SAMPLE_L, 1003},
    {"sample_c_lz", IL_OP_SAMPLE_C_LZ, 1003},
    {"sample_c", IL_OP_SAMPLE_C, 1003},
    {"fetch4_b", IL_OP_FETCH4_B, 1003},
    {"fetch4_l", IL_OP_FETCH4_L, 1003},
    {"fetch4_c_lz", IL_OP_FETCH4_C_LZ, 1003},
    {"flat_atomic", IL_OP_FLAT_ATOMIC, 1003},
    {"fetch4poc", IL_OP_FETCH4POC, 1004},
    {"sample_g", IL_OP_SAMPLE_G, 1004},
    {"sample_c_l", IL_OP_SAMPLE_C_L, 1004},
    {"sample_c_b", IL_OP_SAMPLE_C_B, 1004},
    {"fetch4_po_b", IL_OP_FETCH4_PO_B, 1004},
    {"fetch4_po_l", IL_OP_FETCH4_PO_L, 1004},
    {"fetch4_po_c_lz", IL_OP_FETCH4_PO_C_LZ, 1004},
    {"sample_c_g", IL_OP_SAMPLE_C_G, 1005},
    {"mdef", IL_OP_MDEF, 1008},
    {"mcall", IL_OP_MCALL, 1009},
    {"dcl_user_data", IL_OP_DCL_USER_DATA, 1010},
    {"sample_return_code", IL_OP_SAMPLE_RETURN_CODE, 1010},
    {"cu_id", IL_OP_CU_ID, 1010},
    {"wave_id", IL_OP_WAVE_ID, 1010},
    {"stream_id", IL_OP_STREAM_ID, 1010},
    {"simd_id", IL_OP_SIMD_ID, 1010},
    {"sh_id", IL_OP_SH_ID, 1010},
    {"se_id", IL_OP_SE_ID, 1010},
    {"tg_id", IL_OP_TG_ID, 1010},
    {"queue_id", IL_OP_QUEUE_ID, 1010},
    {"state_id", IL_OP_STATE_ID, 1010},
    {"lane_id", IL_OP_LANE_ID, 1010},
    {"append_buf_alloc", IL_OP_APPEND_BUF_ALLOC, 1010},
    {"append_buf_consume", IL_OP_APPEND_BUF_CONSUME, 1010},
    {"eval_centroid", IL_OP_EVAL_CENTROID, 1011},
    {"inot", IL_OP_INOT, 1011},
    {"ubit_reverse", IL_OP_UBIT_REVERSE, 1011},
    {"ubit_reverser", IL_OP_UBIT_REVERSER, 1011},
    {"icbits", IL_OP_ICBITS, 1011},
    {"ffb", IL_OP_FFB, 1011},
    {"mbcnt", IL_OP_MBCNT, 1011},
    {"inegate", IL_OP_INEGATE, 1011},
    {"i64negate", IL_OP_I64NEGATE, 1011},
    {"abs", IL_OP_ABS, 1011},
    {"acos", IL_OP_ACOS, 1011},
    {"asin", IL_OP_ASIN, 1011},
    {"atan", IL_OP_ATAN, 1011},
    {"clg", IL_OP_CLG, 1011},
    {"colorclamp", IL_OP_COLORCLAMP, 1011},
    {"cos", IL_OP_COS, 1011},
    {"det", IL_OP_DET, 1011},
    {"dsx", IL_OP_DSX, 1011},
    {"dsy", IL_OP_DSY, 1011},
    {"exn", IL_OP_EXN, 1011},
    {"exp", IL_OP_EXP, 1011},
    {"exp_vec", IL_OP_EXP_VEC, 1011},
    {"expp", IL_OP_EXPP, 1011},
    {"flr", IL_OP_FLR, 1011},
    {"frc", IL_OP_FRC, 1011},
    {"fwidth", IL_OP_FWIDTH, 1011},
    {"len", IL_OP_LEN, 1011},
    {"lit", IL_OP_LIT, 1011},
    {"ln", IL_OP_LN, 1011},
    {"log", IL_OP_LOG, 1011},
    {"log_vec", IL_OP_LOG_VEC, 1011},
    {"logp", IL_OP_LOGP, 1011},
    {"nrm", IL_OP_NRM, 1011},
    {"pireduce", IL_OP_PIREDUCE, 1011},
    {"rcp", IL_OP_RCP, 1011},
    {"rnd", IL_OP_RND, 1011},
    {"round_nearest", IL_OP_ROUND_NEAREST, 1011},
    {"round_neginf", IL_OP_ROUND_NEGINF, 1011},
    {"round_plusinf", IL_OP_ROUND_PLUSINF, 1011},
    {"round_z", IL_OP_ROUND_Z, 1011},
    {"rsq_vec", IL_OP_RSQ_VEC, 1011},
    {"rsq", IL_OP_RSQ, 1011},
    {"sgn", IL_OP_SGN, 1011},
    {"sin", IL_OP_SIN, 1011},
    {"sincos", IL_OP_SINCOS, 1011},
    {"sin_vec", IL_OP_SIN_VEC, 1011},
    {"cos_vec", IL_OP_COS_VEC, 1011},
    {"sqrt", IL_OP_SQRT, 1011},
    {"sqrt_vec", IL_OP_SQRT_VEC, 1011},
    {"sqrt_precise", IL_OP_SQRT_PRECISE, 1011},
    {"tan", IL_OP_TAN, 1011},
    {"transpose", IL_OP_TRANSPOSE, 1011},
    {"trc", IL_OP_TRC, 1011},
    {"rcp_vec", IL_OP_RCP_VEC, 1011},
    {"frexp_exp", IL_OP_FREXP_EXP, 1011},
    {"frexp_mant", IL_OP_FREXP_MANT, 1011},
    {"dround_z", IL_OP_DROUND_Z, 1011},
    {"dround_plusinf", IL_OP_DROUND_PLUSINF, 1011},
    {"dround_nearest", IL_OP_DROUND_NEAREST, 1011},
    {"dround_neginf", IL_OP_DROUND_NEGINF, 1011},
    {"nrm_precise", IL_OP_NRM_PRECISE, 1011},
    {"rsq_precise", IL_OP_RSQ_PRECISE, 1011},
    {"f16mov", IL_OP_F16MOV, 1011},
    {"f16rcp", IL_OP_F16RCP, 1011},
    {"f16rsq", IL_OP_F16RSQ, 1011},
    {"f16exp", IL_OP_F16EXP, 1011},
    {"f16log", IL_OP_F16LOG, 1011},
    {"f16sqrt", IL_OP_F16SQRT, 1011},
    {"f16sin", IL_OP_F16SIN, 1011},
    {"f16cos", IL_OP_F16COS, 1011},
    {"f16round_nearest", IL_OP_F16ROUND_NEAREST, 1011},
    {"f16round_neginf", IL_OP_F16ROUND_NEGINF, 1011},
    {"f16round_plusinf", IL_OP_F16ROUND_PLUSINF, 1011},
    {"f16round_z", IL_OP_F16ROUND_Z, 1011},
    {"f16frexp_exp", IL_OP_F16FREXP_EXP, 1011},
    {"f16frexp_mant", IL_OP_F16FREXP_MANT, 1011},
    {"f16frc", IL_OP_F16FRC, 1011},
    {"f16clg", IL_OP_F16CLG, 1011},
    {"f16flr", IL_OP_F16FLR, 1011},
    {"f16trc", IL_OP_F16TRC, 1011},
    {"f16sgn", IL_OP_F16SGN, 1011},
    {"f16abs", IL_OP_F16ABS, 1011},
    {"f16tan", IL_OP_F16TAN, 1011},
    {"f16exn", IL_OP_F16EXN, 1011},
    {"f16ln", IL_OP_F16LN, 1011},
    {"f16toi16", IL_OP_F16TOI16, 1011},
    {"f16tou16", IL_OP_F16TOU16, 1011},
    {"i16tof16", IL_OP_I16TOF16, 1011},
    {"u16tof16", IL_OP_U16TOF16, 1011},
    {"read_other", IL_OP_READ_OTHER, 1011},
    {"f16len", IL_OP_F16LEN, 1011},
    {"f16nrm", IL_OP_F16NRM, 1011},
    {"dfrexp", IL_OP_DFREXP, 1011},
    {"frexp", IL_OP_FREXP, 1011},
    {"dfrexp_exp", IL_OP_DFREXP_EXP, 1011},
    {"dfrexp_mant", IL_OP_DFREXP_MANT, 1011},
    {"dabs", IL_OP_DABS, 1011},
    {"dfrac", IL_OP_DFRAC, 1011},
    {"dsqrt", IL_OP_DSQRT, 1011},
    {"dsqrt_precise", IL_OP_DSQRT_PRECISE, 1011},
    {"drcp_native", IL_OP_DRCP_NATIVE, 1011},
    {"drcp", IL_OP_DRCP, 1011},
    {"drsq", IL_OP_DRSQ, 1011},
    {"dmov", IL_OP_DMOV, 1011},
    {"ftoi", IL_OP_FTOI, 1011},
    {"ftou", IL_OP_FTOU, 1011},
    {"itof", IL_OP_ITOF, 1011},
    {"utof", IL_OP_UTOF, 1011},
    {"d2f", IL_OP_D2F, 1011},
    {"f2d", IL_OP_F2D, 1011},
    {"f2f16", IL_OP_F2F16, 1011},
    {"f2f16_near", IL_OP_F2F16_NEAR, 1011},
    {"f2f16_neg_inf", IL_OP_F2F16_NEG_INF, 1011},
    {"f2f16_plus_inf", IL_OP_F2F16_PLUS_INF, 1011},
    {"f162f", IL_OP_F162F, 1011},
    {"dtoi", IL_OP_DTOI, 1011},
    {"dtou", IL_OP_DTOU, 1011},
    {"itod", IL_OP_ITOD, 1011},
    {"utod", IL_OP_UTOD, 1011},
    {"ftoi_rpi", IL_OP_FTOI_RPI, 1011},
    {"ftoi_flr", IL_OP_FTOI_FLR, 1011},
    {"dtoi64", IL_OP_DTOI64, 1011},
    {"dtou64", IL_OP_DTOU64, 1011},
    {"i64tod", IL_OP_I64TOD, 1011},
    {"u64tod", IL_OP_U64TOD, 1011},
    {"invariant_move", IL_OP_INVARIANT_MOVE, 1011},
    {"invariant_mov", IL_OP_INVARIANT_MOV, 1011},
    {"mov", IL_OP_MOV, 1011},
    {"mova", IL_OP_MOVA, 1011},
    {"f_2_u4", IL_OP_F_2_U4, 1011},
    {"f2u4", IL_OP_F2U4, 1011},
    {"unpack3", IL_OP_UNPACK3, 1011},
    {"unpack2", IL_OP_UNPACK2, 1011},
    {"unpack1", IL_OP_UNPACK1, 1011},
    {"unpack0", IL_OP_UNPACK0, 1011},
    {"lds_load", IL_OP_LDS_LOAD, 1011},
    {"lds_load_byte", IL_OP_LDS_LOAD_BYTE, 1011},
    {"lds_load_short", IL_OP_LDS_LOAD_SHORT, 1011},
    {"lds_load_ubyte", IL_OP_LDS_LOAD_UBYTE, 1011},
    {"lds_load_ushort", IL_OP_LDS_LOAD_USHORT, 1011},
    {"lds_load64", IL_OP_LDS_LOAD64, 1011},
    {"gds_load", IL_OP_GDS_LOAD, 1011},
    {"gds_load_byte", IL_OP_GDS_LOAD_BYTE, 1011},
    {"gds_load_short", IL_OP_GDS_LOAD_SHORT, 1011},
    {"gds_load_ubyte", IL_OP_GDS_LOAD_UBYTE, 1011},
    {"gds_load_ushort", IL_OP_GDS_LOAD_USHORT, 1011},
    {"gds_load64", IL_OP_GDS_LOAD64, 1011},
    {"uav_load", IL_OP_UAV_LOAD, 1011},
    {"uav_load_mip", IL_OP_UAV_LOAD_MIP, 1011},
    {"uav_raw_load", IL_OP_UAV_RAW_LOAD, 1011},
    {"uav_struct_load", IL_OP_UAV_STRUCT_LOAD, 1011},
    {"uav_arena_load", IL_OP_UAV_ARENA_LOAD, 1011},
    {"uav_byte_load", IL_OP_UAV_BYTE_LOAD, 1011},
    {"uav_short_load", IL_OP_UAV_SHORT_LOAD, 1011},
    {"uav_ubyte_load", IL_OP_UAV_UBYTE_LOAD, 1011},
    {"uav_ushort_load", IL_OP_UAV_USHORT_LOAD, 1011},
    {"srv_raw_load", IL_OP_SRV_RAW_LOAD, 1011},
    {"srv_struct_load", IL_OP_SRV_STRUCT_LOAD, 1011},
    {"ballot", IL_OP_BALLOT, 1011},
    {"readfirstlane", IL_OP_READFIRSTLANE, 1011},
    {"interp_mov_p0", IL_OP_INTERP_MOV_P0, 1011},
    {"interp_mov_p1", IL_OP_INTERP_MOV_P1, 1011},
    {"interp_mov_p2", IL_OP_INTERP_MOV_P2, 1011},
    {"poisonv", IL_OP_POISONV, 1011},
    {"poisons", IL_OP_POISONS, 1011},
    {"eval_snapped", IL_OP_EVAL_SNAPPED, 1012},
    {"eval_sample_index", IL_OP_EVAL_SAMPLE_INDEX, 1012},
    {"and", IL_OP_AND, 1012},
    {"iand", IL_OP_IAND, 1012},
    {"ior", IL_OP_IOR, 1012},
    {"ixor", IL_OP_IXOR, 1012},
    {"bfm", IL_OP_BFM, 1012},
    {"iadd", IL_OP_IADD, 1012},
    {"isub", IL_OP_ISUB, 1012},
    {"imax", IL_OP_IMAX, 1012},
    {"imin", IL_OP_IMIN, 1012},
    {"imul", IL_OP_IMUL, 1012},
    {"imul_high", IL_OP_IMUL_HIGH, 1012},
    {"ieq", IL_OP_IEQ, 1012},
    {"ige", IL_OP_IGE, 1012},
    {"ilt", IL_OP_ILT, 1012},
    {"ine", IL_OP_INE, 1012},
    {"ishl", IL_OP_ISHL, 1012},
    {"ishr", IL_OP_ISHR, 1012},
    {"icarry", IL_OP_ICARRY, 1012},
    {"iborrow", IL_OP_IBORROW, 1012},
    {"imul24_high", IL_OP_IMUL24_HIGH, 1012},
    {"idiv", IL_OP_IDIV, 1012},
    {"imod", IL_OP_IMOD, 1012},
    {"ushr", IL_OP_USHR, 1012},
    {"udiv", IL_OP_UDIV, 1012},
    {"umod", IL_OP_UMOD, 1012},
    {"umax", IL_OP_UMAX, 1012},
    {"umin", IL_OP_UMIN, 1012},
    {"ult", IL_OP_ULT, 1012},
    {"uge", IL_OP_UGE, 1012},
    {"umul", IL_OP_UMUL, 1012},
    {"umul_high", IL_OP_UMUL_HIGH, 1012},
    {"umul24", IL_OP_UMUL24, 1012},
    {"umul24_high", IL_OP_UMUL24_HIGH, 1012},
    {"imul24", IL_OP_IMUL24, 1012},
    {"i64add", IL_OP_I64ADD, 1012},
    {"i64sub", IL_OP_I64SUB, 1012},
    {"i64eq", IL_OP_I64EQ, 1012},
    {"i64ge", IL_OP_I64GE, 1012},
    {"i64lt", IL_OP_I64LT, 1012},
    {"i64max", IL_OP_I64MAX, 1012},
    {"i64min", IL_OP_I64MIN, 1012},
    {"i64ne", IL_OP_I64NE, 1012},
    {"i64shl", IL_OP_I64SHL, 1012},
    {"i64shr", IL_OP_I64SHR, 1012},
    {"u64ge", IL_OP_U64GE, 1012},
    {"u64lt", IL_OP_U64LT, 1012},
    {"u64max", IL_OP_U64MAX, 1012},
    {"u64min", IL_OP_U64MIN, 1012},
    {"u64shr", IL_OP_U64SHR, 1012},
    {"i64mul", IL_OP_I64MUL, 1012},
    {"u64mul", IL_OP_U64MUL, 1012},
    {"i64div", IL_OP_I64DIV, 1012},
    {"u64div", IL_OP_U64DIV, 1012},
    {"i64mod", IL_OP_I64MOD, 1012},
    {"u64mod", IL_OP_U64MOD, 1012},
    {"add", IL_OP_ADD, 1012},
    {"cmov", IL_OP_CMOV, 1012},
    {"crs", IL_OP_CRS, 1012},
    {"dist", IL_OP_DIST, 1012},
    {"div", IL_OP_DIV, 1012},
    {"dp2", IL_OP_DP2, 1012},
    {"dp3", IL_OP_DP3, 1012},
    {"dp4", IL_OP_DP4, 1012},
    {"dst", IL_OP_DST, 1012},
    {"ne", IL_OP_NE, 1012},
    {"eq", IL_OP_EQ, 1012},
    {"ge", IL_OP_GE, 1012},
    {"lt", IL_OP_LT, 1012},
    {"max", IL_OP_MAX, 1012},
    {"min", IL_OP_MIN, 1012},
    {"mmul", IL_OP_MMUL, 1012},
    {"mod", IL_OP_MOD, 1012},
    {"mul", IL_OP_MUL, 1012},
    {"pow", IL_OP_POW, 1012},
    {"set", IL_OP_SET, 1012},
    {"sub", IL_OP_SUB, 1012},
    {"fldexp", IL_OP_FLDEXP, 1012},
    {"class", IL_OP_CLASS, 1012},
    {"f16add", IL_OP_F16ADD, 1012},
    {"f16sub", IL_OP_F16SUB, 1012},
    {"f16mul", IL_OP_F16MUL, 1012},
    {"f16max", IL_OP_F16MAX, 1012},
    {"f16min", IL_OP_F16MIN, 1012},
    {"f16eq", IL_OP_F16EQ, 1012},
    {"f16ge", IL_OP_F16GE, 1012},
    {"f16lt", IL_OP_F16LT, 1012},
    {"f16ne", IL_OP_F16NE, 1012},
    {"f16div", IL_OP_F16DIV, 1012},
    {"f16mod", IL_OP_F16MOD, 1012},
    {"f16div_precise", IL_OP_F16DIV_PRECISE, 1012},
    {"f16mod_precise", IL_OP_F16MOD_PRECISE, 1012},
    {"f16ldexp", IL_OP_F16LDEXP, 1012},
    {"f16class", IL_OP_F16CLASS, 1012},
    {"f16pow", IL_OP_F16POW, 1012},
    {"i16shl", IL_OP_I16SHL, 1012},
    {"i16shr", IL_OP_I16SHR, 1012},
    {"u16shr", IL_OP_U16SHR, 1012},
    {"i16max", IL_OP_I16MAX, 1012},
    {"i16min", IL_OP_I16MIN, 1012},
    {"u16max", IL_OP_U16MAX, 1012},
    {"u16min", IL_OP_U16MIN, 1012},
    {"u16add", IL_OP_U16ADD, 1012},
    {"u16sub", IL_OP_U16SUB, 1012},
    {"i16eq", IL_OP_I16EQ, 1012},
    {"i16ge", IL_OP_I16GE, 1012},
    {"i16lt", IL_OP_I16LT, 1012},
    {"i16ne", IL_OP_I16NE, 1012},
    {"u16lt", IL_OP_U16LT, 1012},
    {"u16ge", IL_OP_U16GE, 1012},
    {"u16mul", IL_OP_U16MUL, 1012},
    {"f16dp4", IL_OP_F16DP4, 1012},
    {"f16dp3", IL_OP_F16DP3, 1012},
    {"f16dist", IL_OP_F16DIST, 1012},
    {"dne", IL_OP_DNE, 1012},
    {"deq", IL_OP_DEQ, 1012},
    {"dge", IL_OP_DGE, 1012},
    {"dlt", IL_OP_DLT, 1012},
    {"dadd", IL_OP_DADD, 1012},
    {"dsub", IL_OP_DSUB, 1012},
    {"dmul", IL_OP_DMUL, 1012},
    {"ddiv", IL_OP_DDIV, 1012},
    {"dldexp", IL_OP_DLDEXP, 1012},
    {"ldexp", IL_OP_LDEXP, 1012},
    {"dmax", IL_OP_DMAX, 1012},
    {"dmin", IL_OP_DMIN, 1012},
    {"dclass", IL_OP_DCLASS, 1012},
    {"dtrig_preop", IL_OP_DTRIG_PREOP, 1012},
    {"pk_i16toi32", IL_OP_PK_I16TOI32, 1012},
    {"pk_u16tou32", IL_OP_PK_U16TOU32, 1012},
    {"pk_f16tof32", IL_OP_PK_F16TOF32, 1012},
    {"pk_snorm16tou32", IL_OP_PK_SNORM16TOU32, 1012},
    {"pk_unorm16tou32", IL_OP_PK_UNORM16TOU32, 1012},
    {"div_precise", IL_OP_DIV_PRECISE, 1012},
    {"lds_load_vec", IL_OP_LDS_LOAD_VEC, 1012},
    {"lds_read_add", IL_OP_LDS_READ_ADD, 1012},
    {"lds_read_inc", IL_OP_LDS_READ_INC, 1012},
    {"lds_read_dec", IL_OP_LDS_READ_DEC, 1012},
    {"lds_read_sub", IL_OP_LDS_READ_SUB, 1012},
    {"lds_read_rsub", IL_OP_LDS_READ_RSUB, 1012},
    {"lds_read_min", IL_OP_LDS_READ_MIN, 1012},
    {"lds_read_max", IL_OP_LDS_READ_MAX, 1012},
    {"lds_read_umin", IL_OP_LDS_READ_UMIN, 1012},
    {"lds_read_umax", IL_OP_LDS_READ_UMAX, 1012},
    {"lds_read_and", IL_OP_LDS_READ_AND, 1012},
    {"lds_read_or", IL_OP_LDS_READ_OR, 1012},
    {"lds_read_xor", IL_OP_LDS_READ_XOR, 1012},
    {"lds_read_xchg", IL_OP_LDS_READ_XCHG, 1012},
    {"lds_read_add64", IL_OP_LDS_READ_ADD64, 1012},
    {"lds_read_inc64", IL_OP_LDS_READ_INC64, 1012},
    {"lds_read_dec64", IL_OP_LDS_READ_DEC64, 1012},
    {"lds_read_sub64", IL_OP_LDS_READ_SUB64, 1012},
    {"lds_read_rsub64", IL_OP_LDS_READ_RSUB64, 1012},
    {"lds_read_min64", IL_OP_LDS_READ_MIN64, 1012},
    {"lds_read_max64", IL_OP_LDS_READ_MAX64, 1012},
    {"lds_read_umin64", IL_OP_LDS_READ_UMIN64, 1012},
    {"lds_read_umax64", IL_OP_LDS_READ_UMAX64, 1012},
    {"lds_read_and64", IL_OP_LDS_READ_AND64, 1012},
    {"lds_read_or64", IL_OP_LDS_READ_OR64, 1012},
    {"lds_read_xor64", IL_OP_LDS_READ_XOR64, 1012},
    {"lds_read_xchg64", IL_OP_LDS_READ_XCHG64, 1012},
    {"lds_condxchg32_rtn_b64", IL_OP_LDS_CONDXCHG32_RTN_B64, 1012},
    {"lds_read_fmin", IL_OP_LDS_READ_FMIN, 1012},
    {"lds_read_fmax", IL_OP_LDS_READ_FMAX, 1012},
    {"lds_read_fmin64", IL_OP_LDS_READ_FMIN64, 1012},
    {"lds_read_fmax64", IL_OP_LDS_READ_FMAX64, 1012},
    {"gds_read_add", IL_OP_GDS_READ_ADD, 1012},
    {"gds_read_sub", IL_OP_GDS_READ_SUB, 1012},
    {"gds_read_rsub", IL_OP_GDS_READ_RSUB, 1012},
    {"gds_read_inc", IL_OP_GDS_READ_INC, 1012},
    {"gds_read_dec", IL_OP_GDS_READ_DEC, 1012},
    {"gds_read_min", IL_OP_GDS_READ_MIN, 1012},
    {"gds_read_max", IL_OP_GDS_READ_MAX, 1012},
    {"gds_read_umin", IL_OP_GDS_READ_UMIN, 1012},
    {"gds_read_umax", IL_OP_GDS_READ_UMAX, 1012},
    {"gds_read_and", IL_OP_GDS_READ_AND, 1012},
    {"gds_read_or", IL_OP_GDS_READ_OR, 1012},
    {"gds_read_xor", IL_OP_GDS_READ_XOR, 1012},
    {"gds_read_xchg", IL_OP_GDS_READ_XCHG, 1012},
    {"gds_read_add64", IL_OP_GDS_READ_ADD64, 1012},
    {"gds_read_sub64", IL_OP_GDS_READ_SUB64, 1012},
    {"gds_read_rsub64", IL_OP_GDS_READ_RSUB64, 1012},
    {"gds_read_inc64", IL_OP_GDS_READ_INC64, 1012},
    {"gds_read_dec64", IL_OP_GDS_READ_DEC64, 1012},
    {"gds_read_min64", IL_OP_GDS_READ_MIN64, 1012},
    {"gds_read_max64", IL_OP_GDS_READ_MAX64, 1012},
    {"gds_read_umin64", IL_OP_GDS_READ_UMIN64, 1012},
    {"gds_read_umax64", IL_OP_GDS_READ_UMAX64, 1012},
    {"gds_read_and64", IL_OP_GDS_READ_AND64, 1012},
    {"gds_read_or64", IL_OP_GDS_READ_OR64, 1012},
    {"gds_read_xor64", IL_OP_GDS_READ_XOR64, 1012},
    {"gds_read_xchg64", IL_OP_GDS_READ_XCHG64, 1012},
    {"gds_condxchg32_rtn_b64", IL_OP_GDS_CONDXCHG32_RTN_B64, 1012},
    {"gds_read_fmin", IL_OP_GDS_READ_FMIN, 1012},
    {"gds_read_fmax", IL_OP_GDS_READ_FMAX, 1012},
    {"gds_read_fmin64", IL_OP_GDS_READ_FMIN64, 1012},
    {"gds_read_fmax64", IL_OP_GDS_READ_FMAX64, 1012},
    {"ordered_count", IL_OP_ORDERED_COUNT, 1012},
    {"uav_store_mask", IL_OP_UAV_STORE_MASK, 1012},
    {"uav_store_mip", IL_OP_UAV_STORE_MIP, 1012},
    {"uav_raw_store", IL_OP_UAV_RAW_STORE, 1012},
    {"uav_struct_store", IL_OP_UAV_STRUCT_STORE, 1012},
    {"uav_read_add", IL_OP_UAV_READ_ADD, 1012},
    {"uav_read_sub", IL_OP_UAV_READ_SUB, 1012},
    {"uav_read_rsub", IL_OP_UAV_READ_RSUB, 1012},
    {"uav_read_min", IL_OP_UAV_READ_MIN, 1012},
    {"uav_read_max", IL_OP_UAV_READ_MAX, 1012},
    {"uav_read_umin", IL_OP_UAV_READ_UMIN, 1012},
    {"uav_read_umax", IL_OP_UAV_READ_UMAX, 1012},
    {"uav_read_and", IL_OP_UAV_READ_AND, 1012},
    {"uav_read_or", IL_OP_UAV_READ_OR, 1012},
    {"uav_read_xor", IL_OP_UAV_READ_XOR, 1012},
    {"uav_read_xchg", IL_OP_UAV_READ_XCHG, 1012},
    {"uav_read_uinc", IL_OP_UAV_READ_UINC, 1012},
    {"uav_read_udec", IL_OP_UAV_READ_UDEC, 1012},
    {"uav_byte_store", IL_OP_UAV_BYTE_STORE, 1012},
    {"uav_short_store", IL_OP_UAV_SHORT_STORE, 1012},
    {"uav_read_fmin", IL_OP_UAV_READ_FMIN, 1012},
    {"uav_read_fmax", IL_OP_UAV_READ_FMAX, 1012},
    {"load_dword_at_addr", IL_OP_LOAD_DWORD_AT_ADDR, 1012},
    {"readlane", IL_OP_READLANE, 1012},
    {"ibit_extract", IL_OP_IBIT_EXTRACT, 1013},
    {"ubit_extract", IL_OP_UBIT_EXTRACT, 1013},
    {"bfi", IL_OP_BFI, 1013},
    {"imad", IL_OP_IMAD, 1013},
    {"imad24", IL_OP_IMAD24, 1013},
    {"imin3", IL_OP_IMIN3, 1013},
    {"imed3", IL_OP_IMED3, 1013},
    {"imax3", IL_OP_IMAX3, 1013},
    {"umad", IL_OP_UMAD, 1013},
    {"umad24", IL_OP_UMAD24, 1013},
    {"umin3", IL_OP_UMIN3, 1013},
    {"umed3", IL_OP_UMED3, 1013},
    {"umax3", IL_OP_UMAX3, 1013},
    {"i64mad", IL_OP_I64MAD, 1013},
    {"u64mad", IL_OP_U64MAD, 1013},
    {"clamp", IL_OP_CLAMP, 1013},
    {"cmov_logical", IL_OP_CMOV_LOGICAL, 1013},
    {"cmp", IL_OP_CMP, 1013},
    {"dp2add", IL_OP_DP2ADD, 1013},
    {"dxsincos", IL_OP_DXSINCOS, 1013},
    {"faceforward", IL_OP_FACEFORWARD, 1013},
    {"lrp", IL_OP_LRP, 1013},
    {"mad", IL_OP_MAD, 1013},
    {"fma", IL_OP_FMA, 1013},
    {"min3", IL_OP_MIN3, 1013},
    {"med3", IL_OP_MED3, 1013},
    {"max3", IL_OP_MAX3, 1013},
    {"mqsad_u32_u8", IL_OP_MQSAD_U32_U8, 1013},
    {"vmad_u64_u32", IL_OP_VMAD_U64_U32, 1013},
    {"vmad_i64_i32", IL_OP_VMAD_I64_I32, 1013},
    {"cubeid", IL_OP_CUBEID, 1013},
    {"cubema", IL_OP_CUBEMA, 1013},
    {"cubesc", IL_OP_CUBESC, 1013},
    {"cubetc", IL_OP_CUBETC, 1013},
    {"f16fma", IL_OP_F16FMA, 1013},
    {"f16mad", IL_OP_F16MAD, 1013},
    {"u16mad", IL_OP_U16MAD, 1013},
    {"i16mad", IL_OP_I16MAD, 1013},
    {"f16faceforward", IL_OP_F16FACEFORWARD, 1013},
    {"dfma", IL_OP_DFMA, 1013},
    {"dmad", IL_OP_DMAD, 1013},
    {"dmovc", IL_OP_DMOVC, 1013},
    {"pk_f32u8tou32", IL_OP_PK_F32U8TOU32, 1013},
    {"bitalign", IL_OP_BITALIGN, 1013},
    {"bytealign", IL_OP_BYTEALIGN, 1013},
    {"u4lerp", IL_OP_U4LERP, 1013},
    {"sad", IL_OP_SAD, 1013},
    {"sadhi", IL_OP_SADHI, 1013},
    {"sad4", IL_OP_SAD4, 1013},
    {"msad", IL_OP_MSAD, 1013},
    {"qsad", IL_OP_QSAD, 1013},
    {"mqsad", IL_OP_MQSAD, 1013},
    {"sad_u16", IL_OP_SAD_U16, 1013},
    {"sad_u32", IL_OP_SAD_U32, 1013},
    {"lds_store_vec", IL_OP_LDS_STORE_VEC, 1013},
    {"lds_read_mskor", IL_OP_LDS_READ_MSKOR, 1013},
    {"lds_read_cmp_xchg", IL_OP_LDS_READ_CMP_XCHG, 1013},
    {"lds_read_mskor64", IL_OP_LDS_READ_MSKOR64, 1013},
    {"lds_read_cmp_xchg64", IL_OP_LDS_READ_CMP_XCHG64, 1013},
    {"lds_wrap_rtn_b32", IL_OP_LDS_WRAP_RTN_B32, 1013},
    {"lds_read_fcmp_xchg", IL_OP_LDS_READ_FCMP_XCHG, 1013},
    {"lds_read_fcmp_xchg64", IL_OP_LDS_READ_FCMP_XCHG64, 1013},
    {"gds_read_mskor", IL_OP_GDS_READ_MSKOR, 1013},
    {"gds_read_cmp_xchg", IL_OP_GDS_READ_CMP_XCHG, 1013},
    {"gds_read_mskor64", IL_OP_GDS_READ_MSKOR64, 1013},
    {"gds_read_cmp_xchg64", IL_OP_GDS_READ_CMP_XCHG64, 1013},
    {"gds_wrap_rtn_b32", IL_OP_GDS_WRAP_RTN_B32, 1013},
    {"gds_read_fcmp_xchg", IL_OP_GDS_READ_FCMP_XCHG, 1013},
    {"gds_read_fcmp_xchg64", IL_OP_GDS_READ_FCMP_XCHG64, 1013},
    {"uav_read_cmp_xchg", IL_OP_UAV_READ_CMP_XCHG, 1013},
    {"uav_read_fcmp_xchg", IL_OP_UAV_READ_FCMP_XCHG, 1013},
    {"ubit_insert", IL_OP_UBIT_INSERT, 1014},
    {"receivelane", IL_OP_RECEIVELANE, 1014},
    {"break", IL_OP_BREAK, 1015},
    {"continue", IL_OP_CONTINUE, 1015},
    {"default", IL_OP_DEFAULT, 1015},
    {"else", IL_OP_ELSE, 1015},
    {"endswitch", IL_OP_ENDSWITCH, 1015},
    {"endmain", IL_OP_ENDMAIN, 1015},
    {"end", IL_OP_END, 1015},
    {"endfunc", IL_OP_ENDFUNC, 1015},
    {"endif", IL_OP_ENDIF, 1015},
    {"endloop", IL_OP_ENDLOOP, 1015},
    {"whileloop", IL_OP_WHILELOOP, 1015},
    {"ret", IL_OP_RET, 1015},
    {"ret_dyn", IL_OP_RET_DYN, 1015},
    {"hs_cp_phase", IL_OP_HS_CP_PHASE, 1015},
    {"endphase", IL_OP_ENDPHASE, 1015},
    {"dcl_global_flags", IL_OP_DCL_GLOBAL_FLAGS, 1015},
    {"cut", IL_OP_CUT, 1015},
    {"emit", IL_OP_EMIT, 1015},
    {"emitcut", IL_OP_EMITCUT, 1015},
    {"nop", IL_OP_NOP, 1015},
    {"dcl_raw_srv", IL_OP_DCL_RAW_SRV, 1015},
    {"mend", IL_OP_MEND, 1015},
    {"call", IL_OP_CALL, 1016},
    {"case", IL_OP_CASE, 1016},
    {"func", IL_OP_FUNC, 1016},
    {"sleep", IL_OP_SLEEP, 1016},
    {"dcl_struct_srv", IL_OP_DCL_STRUCT_SRV, 1016},
    {"break_logicalz", IL_OP_BREAK_LOGICALZ, 1017},
    {"break_logicalnz", IL_OP_BREAK_LOGICALNZ, 1017},
    {"continue_logicalz", IL_OP_CONTINUE_LOGICALZ, 1017},
    {"continue_logicalnz", IL_OP_CONTINUE_LOGICALNZ, 1017},
    {"ifnz", IL_OP_IFNZ, 1017},
    {"if_logicalz", IL_OP_IF_LOGICALZ, 1017},
    {"if_logicalnz", IL_OP_IF_LOGICALNZ, 1017},
    {"loop", IL_OP_LOOP, 1017},
    {"switch", IL_OP_SWITCH, 1017},
    {"ret_logicalz", IL_OP_RET_LOGICALZ, 1017},
    {"ret_logicalnz", IL_OP_RET_LOGICALNZ, 1017},
    {"dcl_cb", IL_OP_DCL_CB, 1017},
    {"discard_logicalz", IL_OP_DISCARD_LOGICALZ, 1017},
    {"discard_logicalnz", IL_OP_DISCARD_LOGICALNZ, 1017},
    {"callnz", IL_OP_CALLNZ, 1018},
    {"call_logicalz", IL_OP_CALL_LOGICALZ, 1018},
    {"call_logicalnz", IL_OP_CALL_LOGICALNZ, 1018},
    {"breakc", IL_OP_BREAKC, 1019},
    {"continuec", IL_OP_CONTINUEC, 1019},
    {"ifc", IL_OP_IFC, 1019},
    {"dclarray", IL_OP_DCLARRAY, 1019},
    {"flat_store", IL_OP_FLAT_STORE, 1019},
    {"lds_store", IL_OP_LDS_STORE, 1019},
    {"lds_add", IL_OP_LDS_ADD, 1019},
    {"lds_inc", IL_OP_LDS_INC, 1019},
    {"lds_dec", IL_OP_LDS_DEC, 1019},
    {"lds_sub", IL_OP_LDS_SUB, 1019},
    {"lds_rsub", IL_OP_LDS_RSUB, 1019},
    {"lds_min", IL_OP_LDS_MIN, 1019},
    {"lds_max", IL_OP_LDS_MAX, 1019},
    {"lds_umin", IL_OP_LDS_UMIN, 1019},
    {"lds_umax", IL_OP_LDS_UMAX, 1019},
    {"lds_and", IL_OP_LDS_AND, 1019},
    {"lds_or", IL_OP_LDS_OR, 1019},
    {"lds_xor", IL_OP_LDS_XOR, 1019},
    {"lds_store_byte", IL_OP_LDS_STORE_BYTE, 1019},
    {"lds_store_short", IL_OP_LDS_STORE_SHORT, 1019},
    {"lds_store64", IL_OP_LDS_STORE64, 1019},
    {"lds_add64", IL_OP_LDS_ADD64, 1019},
    {"lds_inc64", IL_OP_LDS_INC64, 1019},
    {"lds_dec64", IL_OP_LDS_DEC64, 1019},
    {"lds_sub64", IL_OP_LDS_SUB64, 1019},
    {"lds_rsub64", IL_OP_LDS_RSUB64, 1019},
    {"lds_min64", IL_OP_LDS_MIN64, 1019},
    {"lds_max64", IL_OP_LDS_MAX64, 1019},
    {"lds_umin64", IL_OP_LDS_UMIN64, 1019},
    {"lds_umax64", IL_OP_LDS_UMAX64, 1019},
    {"lds_and64", IL_OP_LDS_AND64, 1019},
    {"lds_or64", IL_OP_LDS_OR64, 1019},
    {"lds_xor64", IL_OP_LDS_XOR64, 1019},
    {"lds_fmin", IL_OP_LDS_FMIN, 1019},
    {"lds_fmax", IL_OP_LDS_FMAX, 1019},
    {"lds_fmin64", IL_OP_LDS_FMIN64, 1019},
    {"lds_fmax64", IL_OP_LDS_FMAX64, 1019},
    {"gds_store", IL_OP_GDS_STORE, 1019},
    {"gds_store_byte", IL_OP_GDS_STORE_BYTE, 1019},
    {"gds_store_short", IL_OP_GDS_STORE_SHORT, 1019},
    {"gds_add", IL_OP_GDS_ADD, 1019},
    {"gds_sub", IL_OP_GDS_SUB, 1019},
    {"gds_rsub", IL_OP_GDS_RSUB, 1019},
    {"gds_inc", IL_OP_GDS_INC, 1019},
    {"gds_dec", IL_OP_GDS_DEC, 1019},
    {"gds_min", IL_OP_GDS_MIN, 1019},
    {"gds_max", IL_OP_GDS_MAX, 1019},
    {"gds_umin", IL_OP_GDS_UMIN, 1019},
    {"gds_umax", IL_OP_GDS_UMAX, 1019},
    {"gds_and", IL_OP_GDS_AND, 1019},
    {"gds_or", IL_OP_GDS_OR, 1019},
    {"gds_xor", IL_OP_GDS_XOR, 1019},
    {"gds_store64", IL_OP_GDS_STORE64, 1019},
    {"gds_add64", IL_OP_GDS_ADD64, 1019},
    {"gds_sub64", IL_OP_GDS_SUB64, 1019},
    {"gds_rsub64", IL_OP_GDS_RSUB64, 1019},
    {"gds_inc64", IL_OP_GDS_INC64, 1019},
    {"gds_dec64", IL_OP_GDS_DEC64, 1019},
    {"gds_min64", IL_OP_GDS_MIN64, 1019},
    {"gds_max64", IL_OP_GDS_MAX64, 1019},
    {"gds_umin64", IL_OP_GDS_UMIN64, 1019},
    {"gds_umax64", IL_OP_GDS_UMAX64, 1019},
    {"gds_and64", IL_OP_GDS_AND64, 1019},
    {"gds_or64", IL_OP_GDS_OR64, 1019},
    {"gds_xor64", IL_OP_GDS_XOR64, 1019},
    {"gds_fmin", IL_OP_GDS_FMIN, 1019},
    {"gds_fmax", IL_OP_GDS_FMAX, 1019},
    {"gds_fmin64", IL_OP_GDS_FMIN64, 1019},
    {"gds_fmax64", IL_OP_GDS_FMAX64, 1019},
    {"uav_store", IL_OP_UAV_STORE, 1019},
    {"uav_arena_store", IL_OP_UAV_ARENA_STORE, 1019},
    {"uav_add", IL_OP_UAV_ADD, 1019},
    {"uav_sub", IL_OP_UAV_SUB, 1019},
    {"uav_rsub", IL_OP_UAV_RSUB, 1019},
    {"uav_min", IL_OP_UAV_MIN, 1019},
    {"uav_max", IL_OP_UAV_MAX, 1019},
    {"uav_umin", IL_OP_UAV_UMIN, 1019},
    {"uav_umax", IL_OP_UAV_UMAX, 1019},
    {"uav_and", IL_OP_UAV_AND, 1019},
    {"uav_or", IL_OP_UAV_OR, 1019},
    {"uav_xor", IL_OP_UAV_XOR, 1019},
    {"uav_uinc", IL_OP_UAV_UINC, 1019},
    {"uav_udec", IL_OP_UAV_UDEC, 1019},
    {"uav_fmin", IL_OP_UAV_FMIN, 1019},
    {"uav_fmax", IL_OP_UAV_FMAX, 1019},
    {"lds_mskor", IL_OP_LDS_MSKOR, 1020},
    {"lds_cmp", IL_OP_LDS_CMP, 1020},
    {"lds_mskor64", IL_OP_LDS_MSKOR64, 1020},
    {"lds_cmp64", IL_OP_LDS_CMP64, 1020},
    {"lds_fcmp", IL_OP_LDS_FCMP, 1020},
    {"lds_fcmp64", IL_OP_LDS_FCMP64, 1020},
    {"gds_mskor", IL_OP_GDS_MSKOR, 1020},
    {"gds_cmp_store", IL_OP_GDS_CMP_STORE, 1020},
    {"gds_mskor64", IL_OP_GDS_MSKOR64, 1020},
    {"gds_cmp_store64", IL_OP_GDS_CMP_STORE64, 1020},
    {"gds_fcmp_store", IL_OP_GDS_FCMP_STORE, 1020},
    {"gds_fcmp_store64", IL_OP_GDS_FCMP_STORE64, 1020},
    {"uav_cmp", IL_OP_UAV_CMP, 1020},
    {"hs_fork_phase", IL_OP_HS_FORK_PHASE, 1022},
    {"hs_join_phase", IL_OP_HS_JOIN_PHASE, 1022},
    {"dcl_lds_size_per_thread", IL_OP_DCL_LDS_SIZE_PER_THREAD, 1022},
    {"dcl_num_instances", IL_OP_DCL_NUM_INSTANCES, 1022},
    {"dcl_stream", IL_OP_DCL_STREAM, 1022},
    {"dcl_wavesize", IL_OP_DCL_WAVESIZE, 1022},
    {"cut_stream", IL_OP_CUT_STREAM, 1022},
    {"emit_stream", IL_OP_EMIT_STREAM, 1022},
    {"emit_cut_sream", IL_OP_EMIT_CUT_SREAM, 1022},
    {"dcl_resource", IL_OP_DCL_RESOURCE, 1023},
    {"loop_rep", IL_OP_LOOP_REP, 1017},
    {"load_ext", IL_OP_LOAD_EXT, 1002},
    {"load_fptr_ext", IL_OP_LOAD_FPTR_EXT, 1002},
    {"getlod_ext", IL_OP_GETLOD_EXT, 1002},
    {"resinfo_ext", IL_OP_RESINFO_EXT, 1002},
    {"bufinfo_ext", IL_OP_BUFINFO_EXT, 1001},
    {"sampleinfo_ext", IL_OP_SAMPLEINFO_EXT, 1001},
    {"samplepos_ext", IL_OP_SAMPLEPOS_EXT, 1002},
    {"sample_ext", IL_OP_SAMPLE_EXT, 1002},
    {"sample_b_ext", IL_OP_SAMPLE_B_EXT, 1003},
    {"fetch4_ext", IL_OP_FETCH4_EXT, 1002},
    {"fetch4po_ext", IL_OP_FETCH4PO_EXT, 1003},
    {"fetch4c_ext", IL_OP_FETCH4C_EXT, 1003},
    {"fetch4poc_ext", IL_OP_FETCH4POC_EXT, 1004},
    {"sample_g_ext", IL_OP_SAMPLE_G_EXT, 1004},
    {"sample_l_ext", IL_OP_SAMPLE_L_EXT, 1003},
    {"sample_c_lz_ext", IL_OP_SAMPLE_C_LZ_EXT, 1003},
    {"sample_c_ext", IL_OP_SAMPLE_C_EXT, 1003},
    {"sample_c_g_ext", IL_OP_SAMPLE_C_G_EXT, 1005},
    {"sample_c_l_ext", IL_OP_SAMPLE_C_L_EXT, 1004},
    {"sample_c_b_ext", IL_OP_SAMPLE_C_B_EXT, 1004},
    {"fetch4_b_ext", IL_OP_FETCH4_B_EXT, 1003},
    {"fetch4_po_b_ext", IL_OP_FETCH4_PO_B_EXT, 1004},
    {"fetch4_l_ext", IL_OP_FETCH4_L_EXT, 1003},
    {"fetch4_po_l_ext", IL_OP_FETCH4_PO_L_EXT, 1004},
    {"fetch4_c_lz_ext", IL_OP_FETCH4_C_LZ_EXT, 1003},
    {"fetch4_po_c_lz_ext", IL_OP_FETCH4_PO_C_LZ_EXT, 1004},
    {"mova_round", IL_OP_MOVA_ROUND, 1011},
    {"uav_load_ext", IL_OP_UAV_LOAD_EXT, 1011},
    {"uav_load_mip_ext", IL_OP_UAV_LOAD_MIP_EXT, 1011},
    {"uav_raw_load_ext", IL_OP_UAV_RAW_LOAD_EXT, 1011},
    {"uav_struct_load_ext", IL_OP_UAV_STRUCT_LOAD_EXT, 1011},
    {"uav_store_ext", IL_OP_UAV_STORE_EXT, 1019},
    {"uav_store_mask_ext", IL_OP_UAV_STORE_MASK_EXT, 1012},
    {"uav_store_mip_ext", IL_OP_UAV_STORE_MIP_EXT, 1012},
    {"uav_raw_store_ext", IL_OP_UAV_RAW_STORE_EXT, 1012},
    {"uav_struct_store_ext", IL_OP_UAV_STRUCT_STORE_EXT, 1012},
    {"uav_add_ext", IL_OP_UAV_ADD_EXT, 1019},
    {"uav_sub_ext", IL_OP_UAV_SUB_EXT, 1019},
    {"uav_rsub_ext", IL_OP_UAV_RSUB_EXT, 1019},
    {"uav_min_ext", IL_OP_UAV_MIN_EXT, 1019},
    {"uav_max_ext", IL_OP_UAV_MAX_EXT, 1019},
    {"uav_umin_ext", IL_OP_UAV_UMIN_EXT, 1019},
    {"uav_umax_ext", IL_OP_UAV_UMAX_EXT, 1019},
    {"uav_and_ext", IL_OP_UAV_AND_EXT, 1019},
    {"uav_or_ext", IL_OP_UAV_OR_EXT, 1019},
    {"uav_xor_ext", IL_OP_UAV_XOR_EXT, 1019},
    {"uav_cmp_ext", IL_OP_UAV_CMP_EXT, 1020},
    {"uav_read_add_ext", IL_OP_UAV_READ_ADD_EXT, 1012},
    {"uav_read_sub_ext", IL_OP_UAV_READ_SUB_EXT, 1012},
    {"uav_read_rsub_ext", IL_OP_UAV_READ_RSUB_EXT, 1012},
    {"uav_read_min_ext", IL_OP_UAV_READ_MIN_EXT, 1012},
    {"uav_read_max_ext", IL_OP_UAV_READ_MAX_EXT, 1012},
    {"uav_read_umin_ext", IL_OP_UAV_READ_UMIN_EXT, 1012},
    {"uav_read_umax_ext", IL_OP_UAV_READ_UMAX_EXT, 1012},
    {"uav_read_and_ext", IL_OP_UAV_READ_AND_EXT, 1012},
    {"uav_read_or_ext", IL_OP_UAV_READ_OR_EXT, 1012},
    {"uav_read_xor_ext", IL_OP_UAV_READ_XOR_EXT, 1012},
    {"uav_read_xchg_ext", IL_OP_UAV_READ_XCHG_EXT, 1012},
    {"uav_read_cmp_xchg_ext", IL_OP_UAV_READ_CMP_XCHG_EXT, 1013},
    {"uav_uinc_ext", IL_OP_UAV_UINC_EXT, 1019},
    {"uav_udec_ext", IL_OP_UAV_UDEC_EXT, 1019},
    {"uav_read_uinc_ext", IL_OP_UAV_READ_UINC_EXT, 1012},
    {"uav_read_udec_ext", IL_OP_UAV_READ_UDEC_EXT, 1012},
    {"uav_byte_load_ext", IL_OP_UAV_BYTE_LOAD_EXT, 1011},
    {"uav_short_load_ext", IL_OP_UAV_SHORT_LOAD_EXT, 1011},
    {"uav_ubyte_load_ext", IL_OP_UAV_UBYTE_LOAD_EXT, 1011},
    {"uav_ushort_load_ext", IL_OP_UAV_USHORT_LOAD_EXT, 1011},
    {"uav_byte_store_ext", IL_OP_UAV_BYTE_STORE_EXT, 1012},
    {"uav_short_store_ext", IL_OP_UAV_SHORT_STORE_EXT, 1012},
    {"srv_raw_load_ext", IL_OP_SRV_RAW_LOAD_EXT, 1011},
    {"srv_struct_load_ext", IL_OP_SRV_STRUCT_LOAD_EXT, 1011},
    {"uav_fmin_ext", IL_OP_UAV_FMIN_EXT, 1019},
    {"uav_fmax_ext", IL_OP_UAV_FMAX_EXT, 1019},
    {"uav_read_fmin_ext", IL_OP_UAV_READ_FMIN_EXT, 1012},
    {"uav_read_fmax_ext", IL_OP_UAV_READ_FMAX_EXT, 1012},
    {"uav_read_fcmp_xchg_ext", IL_OP_UAV_READ_FCMP_XCHG_EXT, 1013},
};
const std::size_t g_nILMainOpCodeTableSize =
    sizeof(g_ILMainOpCodeTable) / sizeof(g_ILMainOpCodeTable[0]);

const ILOpCodeDesc g_ILDclOpCodeTable[] = {
    {"dcl_indexed_temp_array", IL_OP_DCL_INDEXED_TEMP_ARRAY, 2005},
    {"dcl_input", IL_OP_DCL_INPUT, 1010},
    {"dcl_literal", IL_OP_DCL_LITERAL, 2003},
    {"dcl_output", IL_OP_DCL_OUTPUT, 1010},
    {"dcl_num_thread_per_group", IL_OP_DCL_NUM_THREAD_PER_GROUP, 2006},
    {"dcl_max_thread_per_group", IL_OP_DCL_MAX_THREAD_PER_GROUP, 2001},
    {"fence", IL_OP_FENCE, 1015},
    {"reflect", IL_OP_REFLECT, 1012},
    {"comment", IL_OP_COMMENT, 1015},
    {"dcl_lds", IL_OP_DCL_LDS, 2004},
    {"dcl_struct_lds", IL_OP_DCL_STRUCT_LDS, 1015},
    {"dcl_gds", IL_OP_DCL_GDS, 1015},
    {"dcl_struct_gds", IL_OP_DCL_STRUCT_GDS, 1015},
    {"dcl_uav", IL_OP_DCL_UAV, 1015},
    {"dcl_raw_uav", IL_OP_DCL_RAW_UAV, 1015},
    {"dcl_struct_uav", IL_OP_DCL_STRUCT_UAV, 2004},
    {"dcl_typeless_uav", IL_OP_DCL_TYPELESS_UAV, 1015},
    {"dcl_typed_uav", IL_OP_DCL_TYPED_UAV, 2001},
    {"dcl_arena_uav", IL_OP_DCL_ARENA_UAV, 1015},
    {"dcl_function_body", IL_OP_DCL_FUNCTION_BODY, 1015},
    {"dcl_function_table", IL_OP_DCL_FUNCTION_TABLE, 1015},
    {"dcl_interface_ptr", IL_OP_DCL_INTERFACE_PTR, 1015},
    {"fcall", IL_OP_FCALL, 1015},
};
const std::size_t g_nILDclOpCodeTableSize =
    sizeof(g_ILDclOpCodeTable) / sizeof(g_ILDclOpCodeTable[0]);

namespace
{
// Register type names by type number; 29 has none.
const char* const g_pILRegTypeNames[IL_REGTYPE_LAST] = {
    "b",
    "c",
    "i",
    "a",
    "r",
    "v",
    "vIndex",
    "vObjIndex",
    "vBaryCoord",
    "vPrimIndex",
    "vQuadIndex",
    "o",
    "vPixIn",
    "oSprite",
    "oPos",
    "Interp",
    "Fog",
    "T",
    "PriColor",
    "SecColor",
    "vSpriteCoord",
    "vFace",
    "vWinCoord",
    "vPrimCoord",
    "vPrimType",
    "oC",
    "oDepth",
    "oStencil",
    "oClip",
    nullptr,
    "x",
    "cb",
    "l",
    "v",
    "o",
    "icb",
    "oMask",
    "p",
    "g",
    "oPsFog",
    "sr",
    "vTidInGrp",
    "vTidInGrpFlat",
    "vAbsTid",
    "vAbsTidFlat",
    "vThreadGrpId",
    "vThreadGrpIdFlat",
    "mem",
    "vicp",
    "vpc",
    "vDomain",
    "vocp",
    "vOutputControlPointID",
    "vInstanceID",
    "this",
    "oEdgeFlag",
    "oDepthLE",
    "oDepthGE",
    "vCoverageMask",
    "Tmr",
    "vLineStipple",
    "in",
    "out",
};

// The order in which names are tried when text is parsed: the first "v" and
// "o" win, so the later two can't be reached.
const unsigned int g_nILRegTypeParseOrder[] = {
    IL_REGTYPE_IN,
    IL_REGTYPE_OUT,
    IL_REGTYPE_IMM_CONST_BUFFER,
    IL_REGTYPE_CONST_BUFF,
    IL_REGTYPE_INDEXABLE_TEMP,
    IL_REGTYPE_TEMP,
    IL_REGTYPE_CONST_BOOL,
    IL_REGTYPE_CONST_FLOAT,
    IL_REGTYPE_CONST_INT,
    IL_REGTYPE_ADDR,
    IL_REGTYPE_LEGACY_INPUT,
    IL_REGTYPE_V_INDEX,
    IL_REGTYPE_V_BARY_COORD,
    IL_REGTYPE_V_PRIM_INDEX,
    IL_REGTYPE_V_QUAD_INDEX,
    IL_REGTYPE_O_SPRITE,
    IL_REGTYPE_O_POS,
    IL_REGTYPE_LEGACY_OUTPUT,
    IL_REGTYPE_V_PIX_IN,
    IL_REGTYPE_INTERP,
    IL_REGTYPE_FOG,
    IL_REGTYPE_TEX_COORD,
    IL_REGTYPE_PRI_COLOR,
    IL_REGTYPE_SEC_COLOR,
    IL_REGTYPE_O_PS_FOG,
    IL_REGTYPE_V_OBJ_INDEX,
    IL_REGTYPE_V_SPRITE_COORD,
    IL_REGTYPE_V_FACE,
    IL_REGTYPE_V_WIN_COORD,
    IL_REGTYPE_V_PRIM_COORD,
    IL_REGTYPE_V_PRIM_TYPE,
    IL_REGTYPE_O_C,
    IL_REGTYPE_O_DEPTH,
    IL_REGTYPE_O_STENCIL,
    IL_REGTYPE_O_CLIP,
    IL_REGTYPE_LITERAL,
    IL_REGTYPE_OUTPUT,
    IL_REGTYPE_INPUT,
    IL_REGTYPE_O_MASK,
    IL_REGTYPE_PERSISTENT,
    IL_REGTYPE_GLOBAL,
    IL_REGTYPE_SHARED,
    IL_REGTYPE_V_TID_IN_GRP,
    IL_REGTYPE_V_TID_IN_GRP_FLAT,
    IL_REGTYPE_V_ABS_TID,
    IL_REGTYPE_V_ABS_TID_FLAT,
    IL_REGTYPE_V_THREAD_GRP_ID,
    IL_REGTYPE_V_THREAD_GRP_ID_FLAT,
    IL_REGTYPE_MEM,
    IL_REGTYPE_VICP,
    IL_REGTYPE_VPC,
    IL_REGTYPE_V_DOMAIN,
    IL_REGTYPE_VOCP,
    IL_REGTYPE_V_OUTPUT_CONTROL_POINT_ID,
    IL_REGTYPE_V_INSTANCE_ID,
    IL_REGTYPE_THIS,
    IL_REGTYPE_O_EDGE_FLAG,
    IL_REGTYPE_O_DEPTH_LE,
    IL_REGTYPE_O_DEPTH_GE,
    IL_REGTYPE_V_COVERAGE_MASK,
    IL_REGTYPE_TMR,
    IL_REGTYPE_V_LINE_STIPPLE,
};

// Calls f(row) for every row, main table first, until f returns true.
template <typename F> void ForEachOpCodeDesc(F f)
{
    for (std::size_t i = 0; i < g_nILMainOpCodeTableSize; ++i)
    {
        if (f(g_ILMainOpCodeTable[i]))
        {
            return;
        }
    }
    for (std::size_t i = 0; i < g_nILDclOpCodeTableSize; ++i)
    {
        if (f(g_ILDclOpCodeTable[i]))
        {
            return;
        }
    }
}

// The tables are searched once: a direct index for codes, a map for names.
// Both keep the first row of a code or name, as a linear search would.
const std::array<const ILOpCodeDesc*, IL_OP_LAST>& GetCodeIndex()
{
    static const std::array<const ILOpCodeDesc*, IL_OP_LAST> s_index = []
    {
        std::array<const ILOpCodeDesc*, IL_OP_LAST> index{};
        ForEachOpCodeDesc(
            [&index](const ILOpCodeDesc& desc)
            {
                if (desc.nOpCode < IL_OP_LAST && index[desc.nOpCode] == nullptr)
                {
                    index[desc.nOpCode] = &desc;
                }
                return false;
            });
        return index;
    }();
    return s_index;
}

const std::unordered_map<std::string, const ILOpCodeDesc*>& GetNameIndex()
{
    static const std::unordered_map<std::string, const ILOpCodeDesc*> s_index = []
    {
        std::unordered_map<std::string, const ILOpCodeDesc*> index;
        ForEachOpCodeDesc(
            [&index](const ILOpCodeDesc& desc)
            {
                index.emplace(desc.pName, &desc);
                return false;
            });
        return index;
    }();
    return s_index;
}
} // namespace

const ILOpCodeDesc* FindOpCodeDesc(unsigned int nOpCode)
{
    if (nOpCode < IL_OP_LAST)
    {
        // Row 0 ("none") is a row like any other for a lookup.
        return GetCodeIndex()[nOpCode];
    }
    const ILOpCodeDesc* pFound = nullptr;
    ForEachOpCodeDesc(
        [&](const ILOpCodeDesc& desc)
        {
            pFound = desc.nOpCode == nOpCode ? &desc : nullptr;
            return pFound != nullptr;
        });
    return pFound;
}

const ILOpCodeDesc* FindOpCodeDescByName(const std::string& strName)
{
    const auto& index = GetNameIndex();
    const auto it = index.find(strName);
    return it == index.end() ? nullptr : it->second;
}

ILDescStatus GetOperandCounts(unsigned int nOpcodeToken, unsigned int nInstMod,
                              ILOperandCounts& counts)
{
    const unsigned int nOpCode = GetILOpCode(nOpcodeToken);
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    if (pDesc == nullptr)
    {
        return IL_DESC_UNKNOWN_OPCODE;
    }
    const unsigned int nKind = pDesc->nKind;
    counts.bHasDest = false;
    counts.nSrcCount = 0;
    if (nKind >= 1001 && nKind <= 1007)
    {
        counts.bHasDest = true;
        counts.nSrcCount = nKind - 1001;
    }
    else if (nKind == 1009)
    {
        const unsigned int nOutputs = nInstMod >> IL_INSTMOD_OUTPUT_SHIFT;
        counts.bHasDest = nOutputs == 1;
        counts.nSrcCount = nInstMod & IL_INSTMOD_INPUT_MASK;
        if (nOutputs >= 2)
        {
            return IL_DESC_BAD_MCALL;
        }
    }
    else if (nKind >= 1010 && nKind <= 1014)
    {
        counts.bHasDest = true;
        counts.nSrcCount = nKind - 1010;
    }
    else if (nKind == 1017 || nKind == 1018 || nKind == 2003 || nKind == 2005)
    {
        // dcl_cb with a primary modifier carries counted data instead.
        const bool bCbData = nOpCode == IL_OP_DCL_CB && (nOpcodeToken & IL_PRI_MODIFIER_PRESENT);
        counts.nSrcCount = bCbData ? 0 : 1;
    }
    else if (nKind == 1019)
    {
        counts.nSrcCount = 2;
    }
    else if (nKind == 1020)
    {
        counts.nSrcCount = 3;
    }
    else if (nKind == 2002)
    {
        counts.bHasDest = true;
    }
    else if (nKind != 1008 && nKind != 1015 && nKind != 1016 && nKind != 1022 && nKind != 1023 &&
             nKind != 2001 && nKind != 2004 && nKind != 2006)
    {
        return IL_DESC_UNKNOWN_KIND;
    }
    return IL_DESC_OK;
}

bool HasDestReg(unsigned int nOpcodeToken, unsigned int nInstMod)
{
    ILOperandCounts counts{};
    return GetOperandCounts(nOpcodeToken, nInstMod, counts) == IL_DESC_OK && counts.bHasDest;
}

unsigned int GetSrcRegCount(unsigned int nOpcodeToken, unsigned int nInstMod)
{
    ILOperandCounts counts{};
    return GetOperandCounts(nOpcodeToken, nInstMod, counts) == IL_DESC_OK ? counts.nSrcCount : 0;
}

const char* GetOpCodeName(unsigned int nOpCode)
{
    const ILOpCodeDesc* pDesc = FindOpCodeDesc(nOpCode);
    return pDesc != nullptr ? pDesc->pName : "ERROR";
}

unsigned int GetTrailingTokenCount(unsigned int nOpcodeToken)
{
    switch (GetILOpCode(nOpcodeToken))
    {
    case IL_OP_DCL_TYPELESS_UAV:
        return 2;
    case IL_OP_DCL_LITERAL:
        return 4;
    case IL_OP_DCL_NUM_THREAD_PER_GROUP:
    case 213:
        return GetILControl(nOpcodeToken);
    case IL_OP_DCL_RESOURCE:
    case IL_OP_DCL_TYPED_UAV:
    case IL_OP_COMMENT:
    case IL_OP_DCL_MAX_THREAD_PER_GROUP:
    case IL_OP_CALL:
    case IL_OP_CALLNZ:
    case IL_OP_CALL_LOGICALZ:
    case IL_OP_CALL_LOGICALNZ:
    case IL_OP_FUNC:
    case IL_OP_DCL_LDS:
    case IL_OP_CASE:
        return 1;
    default:
        return 0;
    }
}

const char* GetILRegTypeName(unsigned int nType)
{
    return nType < IL_REGTYPE_LAST ? g_pILRegTypeNames[nType] : nullptr;
}

unsigned int ParseILRegTypeName(const std::string& strName)
{
    static const std::unordered_map<std::string, unsigned int> s_types = []
    {
        std::unordered_map<std::string, unsigned int> types;
        for (unsigned int nType : g_nILRegTypeParseOrder)
        {
            types.emplace(g_pILRegTypeNames[nType], nType);
        }
        return types;
    }();
    const auto it = s_types.find(strName);
    return it == s_types.end() ? static_cast<unsigned int>(IL_REGTYPE_LAST) : it->second;
}
} // namespace ShaderUtils
