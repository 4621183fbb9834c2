// A loop around a rep, both counted by defi; the inner breakc stops some pixels
// before the add behind it, the outer one after the instruction before it.
ps_3_0
dcl_texcoord0 v0
defi i0, 3, 0, 1, 0
defi i1, 4, 0, 0, 0
def c0, 0, 1, 0.25, 2
mov r0, c0.x
mov r1, c0.x
loop aL, i0
  add r0.x, r0.x, c0.y
  rep i1
    break_ge r1.y, v0.z
    add r1.y, r1.y, c0.y
  endrep
  add r0.y, r0.y, c0.z
  break_gt r0.y, v0.x
endloop
rep i0
  add r1.x, r1.x, c0.w
endrep
mov r0.zw, r1.xxxy
mov oC0, r0
