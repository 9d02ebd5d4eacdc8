struct S1 {
	int                        a;                    /*     0     4 */
	char                       b;                    /*     4     1 */

	/* XXX 3 bytes hole, try to pack */

	double                     c;                    /*     8     8 */

	/* size: 16, cachelines: 1, members: 3 */
	/* sum members: 13, holes: 1, sum holes: 3 */
	/* last cacheline: 16 bytes */
};
