struct S20 {
	bool                       b1:1;                 /*     0: 0  1 */
	bool                       b2:1;                 /*     0: 1  1 */
	unsigned char              c:4;                  /*     0: 2  1 */
	short int                  s:9;                  /*     0: 6  2 */

	/* XXX 1 bit hole, try to pack */
	/* XXX 2 bytes hole, try to pack */

	/* Force alignment to the next boundary: */
	int                        :0;

	int                        t:5;                  /*     4: 0  4 */
	enum Color                 col:3;                /*     4: 5  4 */

	/* XXX 24 bits hole, try to pack */

	int                        flex[];               /*     8     0 */

	/* size: 8, cachelines: 1, members: 7 */
	/* sum bitfield members: 23 bits, bit holes: 2, sum bit holes: 25 bits */
	/* last cacheline: 8 bytes */
};
