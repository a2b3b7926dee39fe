// Types of every kind that parameters have, and a value with a different number in every member.
// DebugTypesTest compares them with the debug information.
#include <cstdint>

// A typedef gives an unnamed type a name, and an alias does not. NOLINTBEGIN(modernize-use-using)

namespace camera {

enum class Mode : uint8_t { OFF, AUTO, MANUAL = 200 };
enum Level { LOW = -5, HIGH = 300 };
typedef enum { IDLE, BUSY } State;

struct Point {
    int16_t x, y;
    uint16_t weight : 4, height : 12;
};

template <typename Number, int count>
struct Ring {
    Number slots[count];
    uint32_t head;
};

struct Base {
    virtual ~Base();
    int32_t id;
    float gain;
};

struct Other {
    int32_t id;
    double rate;
};

struct __attribute__((packed)) Packed {
    uint8_t a : 3;
    uint32_t b : 29;
    uint64_t c : 40;
    bool d : 1;
    int8_t e : 2;
    int32_t f;
};

typedef Point PointAlias;

inline namespace v1 {
namespace {
struct Hidden {
    State state;
};
}  // namespace
}  // namespace v1

struct Rings : Ring<char, 1>, Ring<char, 2>, Ring<char, 3> {
    char own;
};

// Members that no field can describe, between others.
struct Odd {
    uint8_t first;
    uint8_t cube[1][1][1][1][1][1][1][1][1][1][1][1][1][1][1][1][2];
    Point many[20000];
    struct {
        void* nothing;
    } pointers[5000000];
    Point few[2];
    uint8_t last;
};

struct Params : Base, Other {
    struct Inner;
    static int count;

    Params();
    ~Params() override;

    Mode mode;
    Mode modes[2];
    Level level;
    State state;
    enum { NONE, SOME = 7 } kind;
    char name[16];
    char names[2][8];
    uint8_t bytes[3];
    int8_t small[2];
    bool on;
    float matrix[2][3];
    const PointAlias roi[2];
    volatile uint16_t grid[2][1][2];
    struct {
        int16_t left;
    } cells[1][2];
    union {
        uint32_t word;
        struct {
            uint16_t low, high;
        };
    };
    Ring<float, 3> ring;
    Packed packed;
    Params* next;
    Params& self;
    int32_t Base::*member;
    long double wide;
    uint64_t gain;
    struct {
    } empty[3];
    int32_t rest[];
};

struct Params::Inner {
    int32_t depth;
};

}  // namespace camera

namespace video {
struct Point {
    int32_t z;
};
struct Absent;
}  // namespace video

typedef struct {
    int32_t first;
    float second[2];
} Unnamed;

typedef uint16_t Table[3][4];

namespace camera {

Base::~Base() = default;
int Params::count = 0;

Params::Params()
    : mode(Mode::AUTO),
      modes{Mode::MANUAL, static_cast<Mode>(9)},
      level(LOW),
      state(BUSY),
      kind(SOME),
      name("daylight"),
      names{"one", "two"},
      bytes{1, 2, 3},
      small{-1, -2},
      on(true),
      matrix{{1, 2, 3}, {4, 5, 6}},
      roi{{-10, 11, 12, 13}, {-20, 21, 14, 4095}},
      grid{{{31, 32}}, {{33, 34}}},
      cells{{{41}, {42}}},
      word(0x00020001),
      ring{{0.5F, 1.5F, 2.5F}, 51},
      packed{5, 0x1fffffff, 0xab00000001, true, -2, -61},
      next(nullptr),
      self(*this),
      member(&Base::id),
      wide(0),
      gain(71) {
    Base::id = 81;
    Base::gain = 8.5F;
    Other::id = 82;
    rate = 0.25;
}

Params::~Params() = default;

}  // namespace camera

// The compiler describes only types that are used.
camera::Params::Inner inner;
camera::Ring<double, 2> otherRing;
video::Point point;
video::Absent* absent;
Unnamed unnamed;
Table table;
camera::Hidden hidden = {camera::BUSY};
camera::Rings rings;
camera::Odd* odd;

int32_t inFunction() {
    struct Local {
        int32_t inside;
    };
    static Local local;
    return local.inside + hidden.state + (odd ? odd->last : 0);
}

/// The bytes of a value whose members have the numbers that DebugTypesTest expects, and their
/// number.
extern "C" const void* describedParams(uint64_t* size) {
    static const camera::Params params;
    *size = sizeof(params);
    return &params;
}

// NOLINTEND(modernize-use-using)
