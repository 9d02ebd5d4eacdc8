struct S14 {
	struct {
		int                        a;                    /*     0     4 */
		int                        b;                    /*     4     4 */

		/* size: 8, cachelines: 1, members: 2 */
		/* last cacheline: 8 bytes */
	};

	struct {
		int                        c;                    /*     0     4 */

		/* size: 4, cachelines: 1, members: 1 */
		/* last cacheline: 4 bytes */
	};

	union {
		int                        x;                    /*     0     4 */
		float                      y;                    /*     0     4 */
	};

	struct {
		int                a;                    /*     0     4 */
		int                b;                    /*     4     4 */
	} in;                                            /*     0     8 */
	struct {
		int                c;                    /*     8     4 */
	};                                               /*     8     4 */
	union {
		int                x;                    /*    12     4 */
		float              y;                    /*    12     4 */
	};                                               /*    12     4 */

	/* size: 16, cachelines: 1, members: 3 */
	/* last cacheline: 16 bytes */
};
