struct S6 {
	int                        x;                    /*     0     4 */

	/* XXX 12 bytes hole, try to pack */

	char                       y __attribute__((__aligned__(16))); /*    16     1 */

	/* size: 32, cachelines: 1, members: 2 */
	/* sum members: 5, holes: 1, sum holes: 12 */
	/* padding: 15 */
	/* forced alignments: 1, forced holes: 1, sum forced holes: 12 */
	/* last cacheline: 32 bytes */
} __attribute__((__aligned__(32)));
