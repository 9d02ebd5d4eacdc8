struct S21 : Empty {
	/* struct Empty               <ancestor>; */     /*     0     0 */

	/* XXX last struct has 1 byte of padding */

	int                        a;                    /*     0     4 */
	struct Empty               e;                    /*     4     0 */

	/* XXX last struct has 1 byte of padding */
	/* XXX 4 bytes hole, try to pack */

	int                        b;                    /*     8     4 */

	/* size: 12, cachelines: 1, members: 4 */
	/* sum members: 8, holes: 1, sum holes: 4 */
	/* paddings: 2, sum paddings: 2 */
	/* last cacheline: 12 bytes */
};
