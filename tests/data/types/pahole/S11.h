struct S11 {
	uint8_t                    a;                    /*     0     1 */

	/* XXX 1 byte hole, try to pack */

	uint16_t                   b;                    /*     2     2 */
	uint32_t                   c;                    /*     4     4 */
	uint64_t                   d;                    /*     8     8 */
	int8_t                     e;                    /*    16     1 */

	/* XXX 1 byte hole, try to pack */

	int16_t                    f;                    /*    18     2 */
	int32_t                    g;                    /*    20     4 */
	int64_t                    h;                    /*    24     8 */
	size_t                     i;                    /*    32     8 */

	/* size: 40, cachelines: 1, members: 9 */
	/* sum members: 38, holes: 2, sum holes: 2 */
	/* last cacheline: 40 bytes */
};
