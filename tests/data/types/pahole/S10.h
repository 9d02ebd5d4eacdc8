struct S10 {
	struct S9<int, 3>          a;                    /*     0    16 */
	struct S9<double, 2>       b;                    /*    16    24 */

	/* XXX last struct has 4 bytes of padding */

	struct array<int, 4>       arr;                  /*    40    16 */

	/* size: 56, cachelines: 1, members: 3 */
	/* paddings: 1, sum paddings: 4 */
	/* last cacheline: 56 bytes */
};
