// An if inside a rep, with a target inside the if.
ps_3_0
dcl_texcoord0 v0
defi i0, 3, 0, 0, 0
def c0, 0.5, 1, 0, 0
mov r0, c0.z
rep i0
  if_lt v0.x, c0.x
    add r0.x, r0.x, c0.y
  endif
  add r0.y, r0.y, c0.y
endrep
mov oC0, r0
