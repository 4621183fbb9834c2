// Comment tokens, in the header and between instructions, and a preshader.
/* a comment token before the version */
preshader
0x00000001 0x00000002 0x00000003
0x00000004
//
ps_3_0 /*#0x43544142 0x0000001c*/
/*text of four*/
dcl_texcoord0 v0 // a remark, no token
def c0, 1, 2, 3, 0.5 /*!*/
mov r0, v0 /**/
/* between */ /* two */
add r0, r0, c0
mov oC0, r0
