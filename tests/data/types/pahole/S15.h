struct S15 {
	string                     name;                 /*     0    32 */
	class vector<int, std::allocator<int> > v;       /*    32    24 */
	class map<int, int, std::less<int>, std::allocator<std::pair<int const, int> > > m; /*    56    48 */
	/* --- cacheline 1 boundary (64 bytes) was 40 bytes ago --- */
	int                        last;                 /*   104     4 */

	/* size: 112, cachelines: 2, members: 4 */
	/* padding: 4 */
	/* last cacheline: 48 bytes */
};
