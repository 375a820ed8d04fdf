// The message catalogue that the program carries: the bytes of dat/en_msgs.txt as they stand, from
// gCatalogueTable up to gCatalogueTableEnd (declared in catalogue.h).
//
// The assembler takes the file in, so there is one source of the rows and no generated code. The build
// tells the assembler where to look and keeps this file out of link-time optimisation, which would
// lose the symbols.
__asm__(
    ".pushsection .rodata\n"
    ".globl gCatalogueTable\n"
    ".globl gCatalogueTableEnd\n"
    ".balign 16\n"
    "gCatalogueTable:\n"
    ".incbin \"dat/en_msgs.txt\"\n"
    "gCatalogueTableEnd:\n"
    ".byte 0\n"
    ".popsection\n");
