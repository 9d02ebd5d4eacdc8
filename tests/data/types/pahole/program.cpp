// A program whose structures pahole describes: the files beside this one are what it printed for some of them, and a test runs
// it on this program's debug information. The program itself says where the compiler put everything and what a value looks
// like in memory: "type NAME SIZE", "place NAME MEMBER OFFSET", "value NAME BYTES".

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>
#include <string>
#include <vector>
#include <map>
#include <atomic>
#include <memory>
#include <array>
#include <netinet/in.h>
struct S1 { int a; char b; double c; };
struct S2 { S1 s; S1 arr[3]; char name[20]; };
struct S3 { unsigned a:3; unsigned b:7; int c:12; unsigned long long d:40; char e; };
union U1 { int i; float f; char c[8]; };
struct S4 { U1 u; enum Color { Red, Green = 5, Blue } color; enum class E8 : uint8_t { A, B } e8; };
struct __attribute__((packed)) S5 { char a; int b; long c; short d; };
struct alignas(32) S6 { int x; alignas(16) char y; };
struct S7 { int* p; void (*f)(int); const char* s; S1& r; int (*arr)[4]; };
class C8 { public: C8(); int get() const; private: int x_; protected: long y_; static int z; bool b_; };
template <typename T, int N> struct S9 { T values[N]; unsigned count; };
struct S10 { S9<int, 3> a; S9<double, 2> b; std::array<int, 4> arr; };
struct S11 { uint8_t a; uint16_t b; uint32_t c; uint64_t d; int8_t e; int16_t f; int32_t g; int64_t h; size_t i; };
struct Base { virtual ~Base(); int b; char tail; };
struct Derived : Base { char t2; long d; virtual void f(); };
struct NB { int a; char b; private: char c; }; struct ND : NB { char d; int e; };
struct S14 { struct { int a; int b; } in; struct { int c; }; union { int x; float y; }; };
struct S15 { std::string name; std::vector<int> v; std::map<int,int> m; int last; };
struct S16 { std::atomic<int> a; std::unique_ptr<int> p; std::shared_ptr<int> q; bool flag; };
struct S17 { int m[3][4]; char names[2][8]; bool flags[5]; wchar_t w; char16_t c16; long double ld; };
struct S18 { sockaddr_in addr; in6_addr six; };
struct S19 { signed char a; unsigned char b; short c; unsigned short d; long e; unsigned long f; long long g; unsigned long long h; float i; };
struct S20 { bool b1:1; bool b2:1; unsigned char c:4; short s:9; int :0; int t:5; S4::Color col:3; int flex[0]; };
struct Empty {}; struct S21 : Empty { int a; Empty e; int b; };

int C8::z = 0;
C8::C8() : x_(0), y_(0), b_(false) {}
Base::~Base() = default;
void Derived::f() {}
struct Derived2 : Derived { int more; };
struct Deep { struct Level { S1 rows[2]; union { int code; char tag[4]; }; } level[2]; };
template <typename K, typename V> struct Entry { K key; V value; };
struct T22 { Entry<int, unsigned> a; Entry<short, short> b, c; };
struct T23 { std::pair<int, short> p; std::array<std::array<short, 2>, 2> grid; };
namespace Trade {
struct Order { enum class Side : unsigned char { Buy = 1, Sell } side; int price; };
struct Book { Order best[2]; };
}
struct T24 { Trade::Order order; Trade::Book book; };
struct Second { int z; };
struct T25 : NB, Second { short own; };
struct Cell { char c; virtual int get() const { return c; } };
struct T26 : Cell { short s[3]; };
struct T27 { volatile int v; const short c; int* const* pp; void (*call)(int, char*); const char* text; };
struct __attribute__((packed)) T28 { char tag; S1 inner; unsigned bits:5; unsigned more:20; };
struct T29 { long long wide:33; unsigned :7; unsigned char small:2; int after; unsigned tail:31; unsigned last:1; };
struct T31 { unsigned a:20, b:20; short c:9, d:9; unsigned char e:5, f:5; long long g:40, h:40; };
struct T30 { enum Level : short { Low = -1, High = 300 } level; S4::E8 e; union { struct { short x, y; } at; int both; } where; };
class Vault {
public:
    Vault() : code_(77), open_(true), weight_(0.25f) {}
    int code() const { return code_; }
private:
    friend void describePrivate();
    short code_;
    bool open_;
    float weight_;
    static long made_;
};
long Vault::made_ = 0;

template <typename T> void describe(const char* name) { std::printf("type %s %zu\n", name, sizeof(T)); }

// What the padding holds is not the value's: `value` has to be in zeroed memory.
void show(const char* name, const void* value, std::size_t size) {
    std::printf("value %s ", name);
    for (std::size_t i = 0; i < size; ++i) {
        std::printf("%02x", static_cast<const unsigned char*>(value)[i]);
    }
    std::printf("\n");
}

#define TYPE(type) describe<type>(#type)
#define PLACE(type, member) std::printf("place %s %s %zu\n", #type, #member, offsetof(type, member))
#define VALUE(type) \
    alignas(64) static unsigned char room_##type[sizeof(type)]; \
    type& v_##type = *reinterpret_cast<type*>(room_##type); \
    show_##type(v_##type); \
    show(#type, room_##type, sizeof(type))

void fill(S1& v, int a, char b, double c) { v.a = a; v.b = b; v.c = c; }
void show_S1(S1& v) { fill(v, -7, 'x', 2.5); }
void show_S2(S2& v) {
    fill(v.s, 1, 'a', 0.5);
    fill(v.arr[0], 2, 'b', -1.5);
    fill(v.arr[2], 3, 'c', 1024.75);
    std::strcpy(v.name, "a \"name\"");
}
void show_S3(S3& v) { v.a = 5; v.b = 99; v.c = -1234; v.d = 0xabcdef1234; v.e = 'z'; }
void show_U1(U1& v) { v.i = -5; }
void show_S4(S4& v) { v.u.i = 12; v.color = S4::Green; v.e8 = S4::E8::B; }
void show_S5(S5& v) { v.a = 'p'; v.b = -2; v.c = 3000000; v.d = -4; }
void show_S6(S6& v) { v.x = 6; v.y = 'q'; }
void show_S11(S11& v) {
    v.a = 255; v.b = 65535; v.c = 4294967295U; v.d = 18446744073709551615ULL;
    v.e = -128; v.f = -32768; v.g = -2147483647; v.h = -9223372036854775807LL; v.i = 99;
}
void show_S14(S14& v) { v.in.a = 1; v.in.b = 2; v.c = 3; v.x = 4; }
void show_S17(S17& v) {
    for (int i = 0; i < 12; ++i) { v.m[i / 4][i % 4] = i - 6; }
    std::strcpy(v.names[0], "one"); std::memcpy(v.names[1], "eight888", 8);
    v.flags[1] = v.flags[4] = true;
    v.w = 65; v.c16 = 66; v.ld = 0.5L;
}
void show_S19(S19& v) { v.a = -1; v.b = 200; v.c = -300; v.d = 60000; v.e = -70000; v.f = 80000; v.g = -1LL << 40; v.h = 1ULL << 63; v.i = 0.1f; }
void show_S20(S20& v) { v.b1 = false; v.b2 = true; v.c = 9; v.s = -200; v.t = -16; v.col = S4::Blue; }
void show_S21(S21& v) { v.a = 10; v.b = 11; }
void show_Deep(Deep& v) {
    fill(v.level[0].rows[0], 1, 'r', 1); fill(v.level[0].rows[1], 2, 's', 2); v.level[0].code = 70;
    fill(v.level[1].rows[0], 3, 't', 3); fill(v.level[1].rows[1], 4, 'u', 4); v.level[1].code = -70;
}
void show_ND(ND& v) { v.a = 1; v.b = 'b'; v.d = 'd'; v.e = 5; }
void show_T22(T22& v) { v.a = {1, 0xfffffffe}; v.b = {3, 4}; v.c = {5, 6}; }
void show_T23(T23& v) { v.p.first = 1; v.p.second = 2; v.grid[0] = {3, 4}; v.grid[1] = {5, 6}; }
void show_T24(T24& v) {
    v.order.side = Trade::Order::Side::Sell; v.order.price = 100;
    v.book.best[0].side = Trade::Order::Side::Buy; v.book.best[0].price = 99; v.book.best[1].price = -1;
}
void show_T25(T25& v) { v.a = 1; v.b = 'n'; v.z = 2; v.own = 3; }
void show_T27(T27& v) {
    v.v = -9; const_cast<short&>(v.c) = 8; v.pp = reinterpret_cast<int* const*>(0x1234); v.text = nullptr;
    v.call = reinterpret_cast<void (*)(int, char*)>(0xabcd);
}
void show_T28(T28& v) { v.tag = 't'; v.inner.a = 1; v.inner.b = 'i'; v.inner.c = -0.25; v.bits = 21; v.more = 0xabcde; }
void show_T29(T29& v) { v.wide = -4294967296LL; v.small = 3; v.after = 55; v.tail = 0x7ffffffe; v.last = 1; }
void show_T31(T31& v) {
    v.a = 0xfffff; v.b = 0x80001; v.c = -256; v.d = 255; v.e = 31; v.f = 17; v.g = -(1LL << 39); v.h = (1LL << 39) - 1;
}
void show_T30(T30& v) { v.level = T30::High; v.e = S4::E8::A; v.where.at.x = -1; v.where.at.y = 2; }

void describePrivate() {
    TYPE(Vault); PLACE(Vault, code_); PLACE(Vault, open_); PLACE(Vault, weight_);
    alignas(64) static Vault vault;
    show("Vault", &vault, sizeof vault);
}

// Debug information has only what is used.
S7* s7; C8* c8; S10 s10; Derived2 derived2; S15 s15; S16 s16; S18 s18; T26 t26;

int main() {
    TYPE(S1); PLACE(S1, a); PLACE(S1, b); PLACE(S1, c); VALUE(S1);
    TYPE(S2); PLACE(S2, s); PLACE(S2, arr); PLACE(S2, name); VALUE(S2);
    TYPE(S3); PLACE(S3, e); VALUE(S3);
    TYPE(U1); PLACE(U1, i); PLACE(U1, f); PLACE(U1, c); VALUE(U1);
    TYPE(S4); PLACE(S4, u); PLACE(S4, color); PLACE(S4, e8); VALUE(S4);
    TYPE(S5); PLACE(S5, a); PLACE(S5, b); PLACE(S5, c); PLACE(S5, d); VALUE(S5);
    TYPE(S6); PLACE(S6, x); PLACE(S6, y); VALUE(S6);
    TYPE(S7); PLACE(S7, p); PLACE(S7, f); PLACE(S7, s); PLACE(S7, arr);
    TYPE(C8);
    TYPE(S10); PLACE(S10, a); PLACE(S10, b); PLACE(S10, arr);
    TYPE(S11); PLACE(S11, a); PLACE(S11, b); PLACE(S11, c); PLACE(S11, d); PLACE(S11, e); PLACE(S11, f); PLACE(S11, g);
    PLACE(S11, h); PLACE(S11, i); VALUE(S11);
    TYPE(Base); PLACE(Base, b); PLACE(Base, tail);
    TYPE(Derived); PLACE(Derived, t2); PLACE(Derived, d);
    TYPE(Derived2); PLACE(Derived2, more);
    TYPE(ND); PLACE(ND, d); PLACE(ND, e); VALUE(ND);
    TYPE(S14); PLACE(S14, in); VALUE(S14);
    TYPE(S15); PLACE(S15, name); PLACE(S15, v); PLACE(S15, m); PLACE(S15, last);
    TYPE(S16); PLACE(S16, a); PLACE(S16, p); PLACE(S16, q); PLACE(S16, flag);
    TYPE(S17); PLACE(S17, m); PLACE(S17, names); PLACE(S17, flags); PLACE(S17, w); PLACE(S17, c16); PLACE(S17, ld); VALUE(S17);
    TYPE(S18); PLACE(S18, addr); PLACE(S18, six);
    TYPE(S19); PLACE(S19, a); PLACE(S19, b); PLACE(S19, c); PLACE(S19, d); PLACE(S19, e); PLACE(S19, f); PLACE(S19, g);
    PLACE(S19, h); PLACE(S19, i); VALUE(S19);
    TYPE(S20); PLACE(S20, flex); VALUE(S20);
    TYPE(S21); PLACE(S21, a); PLACE(S21, e); PLACE(S21, b); VALUE(S21);
    TYPE(Deep); PLACE(Deep, level); VALUE(Deep);
    TYPE(T22); PLACE(T22, a); PLACE(T22, b); PLACE(T22, c); VALUE(T22);
    TYPE(T23); PLACE(T23, p); PLACE(T23, grid); VALUE(T23);
    TYPE(T24); PLACE(T24, order); PLACE(T24, book); VALUE(T24);
    TYPE(T25); PLACE(T25, own); VALUE(T25);
    TYPE(T26); PLACE(T26, s);
    TYPE(T27); PLACE(T27, v); PLACE(T27, c); PLACE(T27, pp); PLACE(T27, call); PLACE(T27, text); VALUE(T27);
    TYPE(T28); PLACE(T28, tag); PLACE(T28, inner); VALUE(T28);
    TYPE(T29); PLACE(T29, after); VALUE(T29);
    TYPE(T30); PLACE(T30, level); PLACE(T30, e); PLACE(T30, where); VALUE(T30);
    TYPE(T31); VALUE(T31);
    describePrivate();
}
