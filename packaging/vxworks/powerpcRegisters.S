/*
 * What -Os calls at the end of a function: registers 14 (or a later one) to 31 and the link register are taken from the
 * frame whose end is in register 11, and the function returns. The names and the layout are those of the System V ABI's
 * PowerPC supplement.
 */
        .section .text
        .irp register, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30
        .globl  _restgpr_\register\()_x
_restgpr_\register\()_x:
        lwz     \register, (\register - 32) * 4(11)
        .endr
        .globl  _restgpr_31_x
_restgpr_31_x:
        lwz     0, 4(11)
        lwz     31, -4(11)
        mtlr    0
        mr      1, 11
        blr
