// Conversions between 64-bit integers and floating point: casts, convert_ with saturation and
// rounding modes, on scalars and vectors.
__kernel void convert64(__global const long* l, __global const ulong* u, __global const double* d,
                        __global const float* f, __global float* lf, __global double* ld,
                        __global long* dl, __global ulong* du, __global long* rounded,
                        __global int* ri)
{
    int i = get_global_id(0);
    lf[2 * i] = (float)l[i];
    lf[2 * i + 1] = convert_float(u[i]);
    ld[2 * i] = (double)l[i];
    ld[2 * i + 1] = (double)u[i];
    dl[2 * i] = (long)d[i];
    dl[2 * i + 1] = convert_long_sat(f[i] * 1e10f);
    du[2 * i] = convert_ulong_sat(d[i]);
    du[2 * i + 1] = (ulong)fabs(f[i]);
    long4 r = (long4)(convert_long_rte(d[i]), convert_long_rtp(d[i]), convert_long_rtn(d[i]),
                      convert_long_sat_rte(f[i]));
    vstore4(r, i, rounded);
    int4 q = convert_int4_sat_rte((double4)(d[i], -d[i], d[i] * 0.5, (double)i + 0.5));
    vstore4(q, i, ri);
}
