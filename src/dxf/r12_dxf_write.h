// What the release 12 DXF writer hands to every record and entity that writes itself.
#ifndef VELKO_R12_DXF_WRITE_H
#define VELKO_R12_DXF_WRITE_H

class CDxfStream;
class CR12Drawing;

struct R12DxfWriteContext {
    CDxfStream &stream;
    CR12Drawing &drawing;
};

#endif
