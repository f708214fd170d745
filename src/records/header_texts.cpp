#include "records/header_texts.h"

#include <cstring>

void CHeaderTextBlocks::Attach(CDB_HEADER_type &vars) {
    std::memset(acadver, 0, sizeof acadver);
    std::memset(dimapost, 0, sizeof dimapost);
    std::memset(dimpost, 0, sizeof dimpost);
    std::memset(dimblk, 0, sizeof dimblk);
    std::memset(dimblk1, 0, sizeof dimblk1);
    std::memset(dimblk2, 0, sizeof dimblk2);
    std::memset(menu, 0, sizeof menu);
    std::memset(handseed, 0, sizeof handseed);
    std::memset(dwgcodepage, 0, sizeof dwgcodepage);
    vars.acadver = acadver;
    vars.dimapost = dimapost;
    vars.dimpost = dimpost;
    vars.dimblk = dimblk;
    vars.dimblk1 = dimblk1;
    vars.dimblk2 = dimblk2;
    vars.menu = menu;
    vars.handseed = handseed;
    vars.dwgcodepage = dwgcodepage;
}

#define HV(name) offsetof(CDB_HEADER_type, name)
const HeaderTextBlock kHeaderTextBlocks[kHeaderTextBlockCount] = {
    {HV(acadver), kHeaderAcadverSize},
    {HV(dimapost), kHeaderDimapostSize},
    {HV(dimblk), kHeaderDimblkSize},
    {HV(dimblk1), kHeaderDimblkSize},
    {HV(dimblk2), kHeaderDimblkSize},
    {HV(dimpost), kHeaderDimpostSize},
    {HV(dwgcodepage), kHeaderCodePageSize},
    {HV(handseed), kHeaderHandseedSize},
    {HV(menu), kHeaderMenuSize},
};
#undef HV

size_t HeaderTextRoomOf(size_t offset) {
    for (const HeaderTextBlock &block : kHeaderTextBlocks)
        if (block.offset == offset)
            return block.room;
    return 0;
}

void CopyIntoTextBlock(char *block, size_t room, const char *text) {
    if (!block || room == 0 || text == block)
        return;
    const size_t n = text ? strnlen(text, room - 1) : 0;
    if (n)
        std::memmove(block, text, n);
    std::memset(block + n, 0, room - n);
}
