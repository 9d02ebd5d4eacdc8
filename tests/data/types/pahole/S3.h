struct S3 {
	unsigned int               a:3;                  /*     0: 0  4 */
	unsigned int               b:7;                  /*     0: 3  4 */
	int                        c:12;                 /*     0:10  4 */
	long long unsigned int     d:40;                 /*     0:22  8 */

	/* XXX 2 bits hole, try to pack */

	char                       e;                    /*     8     1 */

	/* size: 16, cachelines: 1, members: 5 */
	/* sum members: 1 */
	/* sum bitfield members: 62 bits, bit holes: 1, sum bit holes: 2 bits */
	/* padding: 7 */
	/* last cacheline: 16 bytes */
};
