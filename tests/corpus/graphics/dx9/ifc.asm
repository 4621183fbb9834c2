// Nested comparisons, a boolean if from the application's b0, and an if without else.
ps_3_0
dcl_texcoord0 v0
def c0, 0.5, 1, 2, 0
mov r0, c0.w
if_ge v0.x, c0.x
  add r0.x, r0.x, c0.y
  if_lt v0.y, c0.x
    add r0.y, r0.y, c0.z
  endif
endif
if b0
  add r0.z, r0.z, c0.y
else
  add r0.z, r0.z, c0.z
endif
if_ne v0.z, c0.w
  mul r0.w, v0.z, c0.x
endif
mov oC0, r0
