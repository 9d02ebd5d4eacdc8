struct S17 {
	int                        m[3][4];              /*     0    48 */
	char                       names[2][8];          /*    48    16 */
	/* --- cacheline 1 boundary (64 bytes) --- */
	bool                       flags[5];             /*    64     5 */

	/* XXX 3 bytes hole, try to pack */

	wchar_t                    w;                    /*    72     4 */
	char16_t                   c16;                  /*    76     2 */

	/* XXX 2 bytes hole, try to pack */

	long double                ld;                   /*    80    16 */

	/* size: 96, cachelines: 2, members: 6 */
	/* sum members: 91, holes: 2, sum holes: 5 */
	/* last cacheline: 32 bytes */
};
