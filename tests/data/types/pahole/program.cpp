#include <cstdint>
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
int main() {}
