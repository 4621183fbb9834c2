// An if/else that the left half of the grid takes and the right half doesn't.
ps_3_0
dcl_texcoord0 v0
def c0, 0.5, 0.25, 1, 0
mov r0, v0
if_lt r0.x, c0.x
  mul r1, r0, c0.y
  add r1.w, r1.w, c0.z
else
  sub r1, c0.z, r0
  mov r1.w, c0.w
endif
add r2, r1, r0
mov oC0, r2
