// r1 is written where x + y is 7, r0 by no pixel: the first pixel column by column is (4, 3).
ps_3_0
dcl_texcoord0 v0
def c0, 7, 100, 0, 0
if_eq v0.z, c0.x
  mov r1, v0
endif
if_gt v0.x, c0.y
  mov r0, v0
endif
mov oC0, r1
