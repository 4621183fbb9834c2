// setp and predicated writes, in some components and some pixels.
ps_3_0
dcl_texcoord0 v0
def c0, 0.5, 0.5, 1, -1
mov r0, c0.z
setp_gt p0, v0, c0
(p0) mov r0.xy, v0
(!p0.y) add r0.z, r0.z, c0.w
setp_le p0.zw, v0.zzzw, c0.z
(p0) mul r0.zw, r0, c0.x
(!p0) add r0.w, r0.w, c0.z
mov oC0, r0
