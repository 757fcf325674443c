// A host in C++: the programs of a PAT.
#include <psi.h>

#include <iostream>

int main()
{
    const u8 section[] = {0x00, 0xB0, 0x0D, 0x00, 0x01, 0xC1, 0x00, 0x00,
                          0x00, 0x01, 0xE1, 0x00, 0xE8, 0xF9, 0x5E, 0x7D};
    const psiInitRegisterInfo module_ = {0, 256 * 1024, 0, [](u32) {}, [] { return u32{0}; }};
    void *tree = nullptr;
    if (psiSch_Init(&module_) != 0 || syntaxAnalysePsi(PSI_PAT, &tree, section, sizeof section) != 0)
        return 1;
    const auto *pat = static_cast<const patSection *>(tree);
    for (const psiPatProg *program = pat->prog_info; program;
         program = static_cast<const psiPatProg *>(program->link.next))
        std::cout << "program " << program->program_number << " on PID " << program->program_map_PID << "\n";
    return syntaxDestroyPsiSection(PSI_PAT, tree);
}
