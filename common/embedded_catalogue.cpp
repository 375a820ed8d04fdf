// The message catalogue that the program carries: the bytes of dat/en_msgs.txt as they stand, in
// gCatalogueTable, and their number in gCatalogueTableSize (declared in catalogue.h).
//
// The assembler takes the file in, so there is one source of the rows and no generated code. The build
// tells the assembler where to look and keeps this file out of link-time optimisation, which would
// lose the symbols.
__asm__(
    ".pushsection .rodata\n"
    ".globl gCatalogueTable\n"
    ".globl gCatalogueTableSize\n"
    ".balign 16\n"
    "gCatalogueTable:\n"
    ".incbin \"dat/en_msgs.txt\"\n"
    ".Lcatalogue_end:\n"
    ".balign 4\n"
    "gCatalogueTableSize:\n"
    ".long .Lcatalogue_end - gCatalogueTable\n"
    ".popsection\n");
