// Wm4ColorRGBA.h - floating-point colour with alpha in the Wild Magic 4 style.
#ifndef WM4_COLORRGBA_H
#define WM4_COLORRGBA_H

namespace Wm4 {

/// Red, green, blue and alpha as floats, nominally in [0, 1].
class ColorRGBA {
public:
    ColorRGBA() : m_tuple{0.0f, 0.0f, 0.0f, 0.0f} {}
    ColorRGBA(float r, float g, float b, float a) : m_tuple{r, g, b, a} {}

    float R() const { return m_tuple[0]; }
    float& R() { return m_tuple[0]; }
    float G() const { return m_tuple[1]; }
    float& G() { return m_tuple[1]; }
    float B() const { return m_tuple[2]; }
    float& B() { return m_tuple[2]; }
    float A() const { return m_tuple[3]; }
    float& A() { return m_tuple[3]; }

    float operator[](int i) const { return m_tuple[i]; }
    float& operator[](int i) { return m_tuple[i]; }

    bool operator==(const ColorRGBA& c) const
    {
        return m_tuple[0] == c.m_tuple[0] && m_tuple[1] == c.m_tuple[1] && m_tuple[2] == c.m_tuple[2] &&
               m_tuple[3] == c.m_tuple[3];
    }
    bool operator!=(const ColorRGBA& c) const { return !(*this == c); }

    static const ColorRGBA BLACK; ///< (0, 0, 0, 1)
    static const ColorRGBA WHITE; ///< (1, 1, 1, 1)

private:
    float m_tuple[4];
};

inline const ColorRGBA ColorRGBA::BLACK(0.0f, 0.0f, 0.0f, 1.0f);
inline const ColorRGBA ColorRGBA::WHITE(1.0f, 1.0f, 1.0f, 1.0f);

} // namespace Wm4

#endif
