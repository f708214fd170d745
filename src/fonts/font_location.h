// The one thing the font search asks of a drawing: where to look. A shape table looks
// for a font beside the drawing's file first, then in each directory of its search path.
#ifndef VELKO_FONT_LOCATION_H
#define VELKO_FONT_LOCATION_H

class CFontLocation {
public:
    // The drawing's file name and its search path (directories separated by ';'); either
    // may be null.
    virtual const char *DrawingFileName() = 0;
    virtual const char *FontSearchPath() const = 0;

protected:
    ~CFontLocation() = default;
};

#endif
