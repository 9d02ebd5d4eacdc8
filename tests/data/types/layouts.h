/* Structures that are described by this very text and laid out by the compiler too. */

struct Plain {
    char c;
    short s;
    int i;
    long long ll;
    unsigned char uc;
    unsigned short us;
    unsigned u;
    unsigned long long ull;
    float f;
    double d;
    bool b;
};

struct Nested {
    char before;
    struct Plain plain;
    struct {
        int x, y;
    } point[2];
    char name[5];
    char names[2][3];
};

struct Bits {
    unsigned a : 3;
    unsigned b : 7;
    int c : 12;
    unsigned long long d : 40;
    char e;
    unsigned char f : 4;
    unsigned short g : 9;
    int : 0;
    int h : 5;
    int : 3;
    long long i : 60;
    bool j : 1;
};

struct __attribute__((packed)) Packed {
    char a;
    int b;
    unsigned c : 3;
    unsigned d : 30;
    double e;
};

struct Aligned {
    char a;
    int b __attribute__((aligned(16)));
    char c;
} __attribute__((aligned(32)));

#pragma pack(push, 2)
struct Pragma {
    char a;
    int b;
    long long c;
    unsigned d : 5;
    unsigned e : 29;
};
#pragma pack(pop)

enum Color { RED, GREEN = 5, BLUE, DARK = -3 };

struct Mixed {
    enum Color color;
    union {
        int number;
        double real;
    } either;
    union {
        char first;
        long long second;
    };
    struct Bits* pointer;
    int (*function)(char, struct Nested*);
    int matrix[2][3];
    short tail;
};
