struct S2 {
	struct S1                  s;                    /*     0    16 */
	struct S1                  arr[3];               /*    16    48 */
	/* --- cacheline 1 boundary (64 bytes) --- */
	char                       name[20];             /*    64    20 */

	/* size: 88, cachelines: 2, members: 3 */
	/* padding: 4 */
	/* last cacheline: 24 bytes */
};
